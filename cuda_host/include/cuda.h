/// @file
/// A part of the CUDA driver interface on host memory, for machines without an NVIDIA driver: what
/// the camera library, the program and the tests call. Names, values and meanings are CUDA's.
#pragma once

typedef int CUdevice;
typedef struct CUctx_st* CUcontext;

typedef enum cudaError_enum {
    CUDA_SUCCESS = 0,
    CUDA_ERROR_INVALID_VALUE = 1,
    CUDA_ERROR_OUT_OF_MEMORY = 2,
    CUDA_ERROR_NOT_INITIALIZED = 3,
    CUDA_ERROR_INVALID_DEVICE = 101,
    CUDA_ERROR_INVALID_CONTEXT = 201,
} CUresult;

extern "C" {

CUresult cuInit(unsigned int flags);
CUresult cuDeviceGet(CUdevice* device, int ordinal);
/// The context that every user of the device shares; counted.
CUresult cuDevicePrimaryCtxRetain(CUcontext* context, CUdevice device);
CUresult cuDevicePrimaryCtxRelease(CUdevice device);
/// Binds the context to the calling thread; null unbinds.
CUresult cuCtxSetCurrent(CUcontext context);
/// The calling thread's context, null when there is none.
CUresult cuCtxGetCurrent(CUcontext* context);

} // extern "C"

/// @file
/// A part of the CUDA driver interface on host memory, for machines without an NVIDIA driver: the
/// calls of the camera library, the program and the tests. Names, values and meanings are those of
/// CUDA.
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
/// The context that all users of the device share; reference-counted.
CUresult cuDevicePrimaryCtxRetain(CUcontext* context, CUdevice device);
CUresult cuDevicePrimaryCtxRelease(CUdevice device);
/// Makes the context current on the calling thread; null removes it.
CUresult cuCtxSetCurrent(CUcontext context);
/// The calling thread's context, null if there is none.
CUresult cuCtxGetCurrent(CUcontext* context);

} // extern "C"

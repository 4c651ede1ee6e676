/// @file
/// A part of the CUDA runtime interface on host memory: the calls of the camera library, the
/// program and the tests. "Device" memory is host memory with its own budget (see cuda_host.h), so
/// tests can read it through a pointer.
///
/// Any thread may call. If a thread has no current context, every call except those on errors makes
/// the primary context current. Copies check that device pointers point to an allocated block and
/// that host pointers do not.
#pragma once

#include <cstddef>

typedef enum cudaError {
    cudaSuccess = 0,
    cudaErrorInvalidValue = 1,
    cudaErrorMemoryAllocation = 2,
    cudaErrorInitializationError = 3,
    cudaErrorInvalidPitchValue = 12,
    cudaErrorInvalidDevicePointer = 17,
    cudaErrorInvalidMemcpyDirection = 21,
    cudaErrorDeviceUninitialized = 201,
    cudaErrorMapBufferObjectFailed = 205,
    cudaErrorAlreadyMapped = 208,
    cudaErrorNotMapped = 211,
    cudaErrorInvalidGraphicsContext = 219,
    cudaErrorInvalidResourceHandle = 400,
    cudaErrorUnknown = 999,
} cudaError_t;

typedef enum cudaMemcpyKind {
    cudaMemcpyHostToHost = 0,
    cudaMemcpyHostToDevice = 1,
    cudaMemcpyDeviceToHost = 2,
    cudaMemcpyDeviceToDevice = 3,
    cudaMemcpyDefault = 4,
} cudaMemcpyKind;

typedef struct CUstream_st* cudaStream_t;
typedef struct cudaArray* cudaArray_t;
typedef const struct cudaArray* cudaArray_const_t;
typedef struct cudaGraphicsResource* cudaGraphicsResource_t;

extern "C" {

/// The calling thread's last error, which stays until this call reads and clears it.
cudaError_t cudaGetLastError(void);
cudaError_t cudaPeekAtLastError(void);           ///< without clearing
const char* cudaGetErrorName(cudaError_t error); ///< static text

cudaError_t cudaMalloc(void** pointer, std::size_t bytes);
/// Rows begin at multiples of 512 bytes, as on a device.
cudaError_t cudaMallocPitch(void** pointer, std::size_t* pitch, std::size_t widthBytes,
                            std::size_t height);
/// Null is allowed. cudaErrorInvalidValue for a pointer that is not the start of a block.
cudaError_t cudaFree(void* pointer);
cudaError_t cudaMemset(void* pointer, int value, std::size_t bytes);
cudaError_t cudaMemcpy(void* to, const void* from, std::size_t bytes, cudaMemcpyKind kind);
cudaError_t cudaMemcpy2D(void* to, std::size_t toPitch, const void* from, std::size_t fromPitch,
                         std::size_t widthBytes, std::size_t height, cudaMemcpyKind kind);
/// Offsets and widths in bytes, multiples of a pixel.
cudaError_t cudaMemcpy2DToArray(cudaArray_t to, std::size_t xBytes, std::size_t y, const void* from,
                                std::size_t fromPitch, std::size_t widthBytes, std::size_t height,
                                cudaMemcpyKind kind);
cudaError_t cudaMemGetInfo(std::size_t* freeBytes, std::size_t* totalBytes);

cudaError_t cudaGraphicsMapResources(int count, cudaGraphicsResource_t* resources,
                                     cudaStream_t stream = nullptr);
/// Uploads the rectangles that were copied into the mapped array to the texture, whose OpenGL
/// context must be current. The OpenGL state and the rest of the texture do not change.
cudaError_t cudaGraphicsUnmapResources(int count, cudaGraphicsResource_t* resources,
                                       cudaStream_t stream = nullptr);
cudaError_t cudaGraphicsSubResourceGetMappedArray(cudaArray_t* array,
                                                  cudaGraphicsResource_t resource,
                                                  unsigned int arrayIndex, unsigned int mipLevel);
cudaError_t cudaGraphicsUnregisterResource(cudaGraphicsResource_t resource);

} // extern "C"

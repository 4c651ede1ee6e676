/// @file
/// State that the calls share: the calling thread's last error, planned failures, device blocks,
/// arrays.
#pragma once

#include "cuda.h"
#include "cuda_runtime_api.h"

#include <cstddef>
#include <cstdint>
#include <vector>

/// The texture's bytes while it is mapped: rows of width * 4 bytes without gaps.
struct cudaArray
{
    struct Rectangle
    {
        std::size_t x, y, width, height; // pixels
    };

    std::size_t width = 0; // pixels
    std::size_t height = 0;
    std::vector<std::uint8_t> bytes;
    std::vector<Rectangle> written; // since the mapping; only these are uploaded
};

namespace cuda_host {

/// Makes the error the calling thread's last one, unless it is success, and returns it.
cudaError_t report(cudaError_t error);

/// The error that failNext() planned for this call, 0 for none. Removes the plan.
int plannedFailure(const char* function);

/// Makes the primary context current if the thread has none, as the runtime does.
void bindPrimaryContext();

/// True if all bytes are in one device block.
bool isDeviceRange(const void* pointer, std::size_t bytes);
/// True if the byte is in a device block.
bool isDeviceByte(const void* pointer);

/// True while the array belongs to a mapped resource.
bool isMappedArray(const cudaArray* array);

} // namespace cuda_host

/// Returns the planned error from the calling function, if there is one.
#define CUDA_HOST_RUNTIME_CALL()                                                                   \
    if (const int planned = cuda_host::plannedFailure(__func__)) {                                 \
        return cuda_host::report(static_cast<cudaError_t>(planned));                               \
    }                                                                                              \
    cuda_host::bindPrimaryContext()
#define CUDA_HOST_DRIVER_CALL()                                                                    \
    if (const int planned = cuda_host::plannedFailure(__func__)) {                                 \
        return static_cast<CUresult>(planned);                                                     \
    }

#include "cuda_host.h"

#include "state.h"

#include <atomic>
#include <deque>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>

namespace {

thread_local cudaError_t lastError = cudaSuccess;

std::mutex planMutex; // guards plans
std::map<std::string, std::deque<int>>& plans()
{
    static std::map<std::string, std::deque<int>> instance;
    return instance;
}
// Avoids the lock in each call while nothing is planned.
std::atomic<int> planned{0};

const char* const functions[] = {
    "cuInit",
    "cuDeviceGet",
    "cuDevicePrimaryCtxRetain",
    "cuDevicePrimaryCtxRelease",
    "cuCtxSetCurrent",
    "cuCtxGetCurrent",
    "cudaMalloc",
    "cudaMallocPitch",
    "cudaFree",
    "cudaMemset",
    "cudaMemcpy",
    "cudaMemcpy2D",
    "cudaMemcpy2DToArray",
    "cudaMemGetInfo",
    "cudaGraphicsGLRegisterImage",
    "cudaGraphicsMapResources",
    "cudaGraphicsUnmapResources",
    "cudaGraphicsSubResourceGetMappedArray",
    "cudaGraphicsUnregisterResource",
};

} // namespace

namespace cuda_host {

cudaError_t report(cudaError_t error)
{
    if (error != cudaSuccess) {
        lastError = error;
    }
    return error;
}

void failNext(const char* function, int error)
{
    for (const char* known : functions) {
        if (std::string(known) == function) {
            const std::lock_guard<std::mutex> lock(planMutex);
            plans()[function].push_back(error);
            ++planned;
            return;
        }
    }
    throw std::invalid_argument(std::string("failNext: no such call: ") + function);
}

void forgetFailures()
{
    const std::lock_guard<std::mutex> lock(planMutex);
    plans().clear();
    planned = 0;
}

int plannedFailure(const char* function)
{
    if (planned.load() == 0) {
        return 0;
    }
    const std::lock_guard<std::mutex> lock(planMutex);
    const auto plan = plans().find(function);
    if (plan == plans().end() || plan->second.empty()) {
        return 0;
    }
    const int error = plan->second.front();
    plan->second.pop_front();
    --planned;
    return error;
}

} // namespace cuda_host

extern "C" {

cudaError_t cudaGetLastError(void)
{
    const cudaError_t error = lastError;
    lastError = cudaSuccess;
    return error;
}

cudaError_t cudaPeekAtLastError(void)
{
    return lastError;
}

const char* cudaGetErrorName(cudaError_t error)
{
#define NAME(code)                                                                                 \
    case code:                                                                                     \
        return #code
    switch (error) {
        NAME(cudaSuccess);
        NAME(cudaErrorInvalidValue);
        NAME(cudaErrorMemoryAllocation);
        NAME(cudaErrorInitializationError);
        NAME(cudaErrorInvalidPitchValue);
        NAME(cudaErrorInvalidDevicePointer);
        NAME(cudaErrorInvalidMemcpyDirection);
        NAME(cudaErrorDeviceUninitialized);
        NAME(cudaErrorMapBufferObjectFailed);
        NAME(cudaErrorAlreadyMapped);
        NAME(cudaErrorNotMapped);
        NAME(cudaErrorInvalidGraphicsContext);
        NAME(cudaErrorInvalidResourceHandle);
        NAME(cudaErrorUnknown);
    }
#undef NAME
    return "unrecognized error code";
}

} // extern "C"

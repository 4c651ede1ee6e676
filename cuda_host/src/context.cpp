#include "cuda.h"

#include <atomic>

struct CUctx_st
{
    std::atomic<int> users{0};
};

namespace {

CUctx_st primaryContext;
thread_local CUcontext currentContext = nullptr;

} // namespace

extern "C" {

CUresult cuInit(unsigned int flags)
{
    return flags == 0 ? CUDA_SUCCESS : CUDA_ERROR_INVALID_VALUE;
}

CUresult cuDeviceGet(CUdevice* device, int ordinal)
{
    if (device == nullptr) {
        return CUDA_ERROR_INVALID_VALUE;
    }
    if (ordinal != 0) {
        return CUDA_ERROR_INVALID_DEVICE;
    }
    *device = 0;
    return CUDA_SUCCESS;
}

CUresult cuDevicePrimaryCtxRetain(CUcontext* context, CUdevice device)
{
    if (context == nullptr) {
        return CUDA_ERROR_INVALID_VALUE;
    }
    if (device != 0) {
        return CUDA_ERROR_INVALID_DEVICE;
    }
    ++primaryContext.users;
    *context = &primaryContext;
    return CUDA_SUCCESS;
}

CUresult cuDevicePrimaryCtxRelease(CUdevice device)
{
    if (device != 0) {
        return CUDA_ERROR_INVALID_DEVICE;
    }
    if (primaryContext.users.load() == 0) {
        return CUDA_ERROR_INVALID_CONTEXT;
    }
    --primaryContext.users;
    return CUDA_SUCCESS;
}

CUresult cuCtxSetCurrent(CUcontext context)
{
    if (context != nullptr && context != &primaryContext) {
        return CUDA_ERROR_INVALID_CONTEXT;
    }
    currentContext = context;
    return CUDA_SUCCESS;
}

CUresult cuCtxGetCurrent(CUcontext* context)
{
    if (context == nullptr) {
        return CUDA_ERROR_INVALID_VALUE;
    }
    *context = currentContext;
    return CUDA_SUCCESS;
}

} // extern "C"

#include "state.h"

#include <atomic>

struct CUctx_st
{
    std::atomic<int> users{0};
};

namespace {

CUctx_st primaryContext;
thread_local CUcontext currentContext = nullptr;

} // namespace

namespace cuda_host {

void bindPrimaryContext()
{
    if (currentContext == nullptr) {
        currentContext = &primaryContext;
    }
}

} // namespace cuda_host

extern "C" {

CUresult cuInit(unsigned int flags)
{
    CUDA_HOST_DRIVER_CALL();
    return flags == 0 ? CUDA_SUCCESS : CUDA_ERROR_INVALID_VALUE;
}

CUresult cuDeviceGet(CUdevice* device, int ordinal)
{
    CUDA_HOST_DRIVER_CALL();
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
    CUDA_HOST_DRIVER_CALL();
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
    CUDA_HOST_DRIVER_CALL();
    if (device != 0) {
        return CUDA_ERROR_INVALID_DEVICE;
    }
    int users = primaryContext.users.load();
    do {
        if (users == 0) {
            return CUDA_ERROR_INVALID_CONTEXT;
        }
    } while (!primaryContext.users.compare_exchange_weak(users, users - 1));
    return CUDA_SUCCESS;
}

CUresult cuCtxSetCurrent(CUcontext context)
{
    CUDA_HOST_DRIVER_CALL();
    if (context != nullptr && context != &primaryContext) {
        return CUDA_ERROR_INVALID_CONTEXT;
    }
    currentContext = context;
    return CUDA_SUCCESS;
}

CUresult cuCtxGetCurrent(CUcontext* context)
{
    CUDA_HOST_DRIVER_CALL();
    if (context == nullptr) {
        return CUDA_ERROR_INVALID_VALUE;
    }
    *context = currentContext;
    return CUDA_SUCCESS;
}

} // extern "C"

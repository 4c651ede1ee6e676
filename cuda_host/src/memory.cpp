#include "cuda_host.h"

#include "state.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <mutex>

namespace {

constexpr std::size_t rowAlignment = 512;
constexpr std::size_t defaultBudget = std::size_t{8} << 30;

std::mutex blocksMutex; // guards the four below
std::size_t budget = defaultBudget;
std::size_t allocated = 0;
std::map<std::uintptr_t, std::size_t>& blocks()
{
    // Never destroyed: blocks may be freed by objects with static lifetime.
    static auto* const instance = new std::map<std::uintptr_t, std::size_t>;
    return *instance;
}

std::uintptr_t address(const void* pointer)
{
    return reinterpret_cast<std::uintptr_t>(pointer);
}

cudaError_t allocate(void** pointer, std::size_t bytes)
{
    *pointer = nullptr;
    if (bytes == 0) {
        return cudaSuccess;
    }
    const std::lock_guard<std::mutex> lock(blocksMutex);
    if (bytes > budget || allocated > budget - bytes) {
        return cudaErrorMemoryAllocation;
    }
    void* block = nullptr;
    if (posix_memalign(&block, rowAlignment, bytes) != 0) {
        return cudaErrorMemoryAllocation;
    }
    blocks()[address(block)] = bytes;
    allocated += bytes;
    *pointer = block;
    return cudaSuccess;
}

/// The sides of a copy kind: true for device memory.
struct Sides
{
    bool toDevice, fromDevice;
};

bool sidesOf(cudaMemcpyKind kind, const void* to, const void* from, Sides& sides)
{
    switch (kind) {
    case cudaMemcpyHostToHost:
        sides = {false, false};
        return true;
    case cudaMemcpyHostToDevice:
        sides = {true, false};
        return true;
    case cudaMemcpyDeviceToHost:
        sides = {false, true};
        return true;
    case cudaMemcpyDeviceToDevice:
        sides = {true, true};
        return true;
    case cudaMemcpyDefault:
        sides = {cuda_host::isDeviceByte(to), cuda_host::isDeviceByte(from)};
        return true;
    }
    return false;
}

bool sideIsUsable(bool device, const void* pointer, std::size_t bytes)
{
    return device ? cuda_host::isDeviceRange(pointer, bytes) : !cuda_host::isDeviceByte(pointer);
}

/// Bytes from the first to the last of a rectangle of rows; false on overflow.
bool spanOf(std::size_t pitch, std::size_t widthBytes, std::size_t height, std::size_t& span)
{
    if (height > 1 &&
        pitch > (std::numeric_limits<std::size_t>::max() - widthBytes) / (height - 1)) {
        return false;
    }
    span = pitch * (height - 1) + widthBytes;
    return true;
}

} // namespace

namespace cuda_host {

void setMemoryBudget(std::size_t bytes)
{
    const std::lock_guard<std::mutex> lock(blocksMutex);
    budget = bytes;
}

std::size_t memoryBudget()
{
    const std::lock_guard<std::mutex> lock(blocksMutex);
    return budget;
}

std::size_t allocatedBytes()
{
    const std::lock_guard<std::mutex> lock(blocksMutex);
    return allocated;
}

std::size_t allocationCount()
{
    const std::lock_guard<std::mutex> lock(blocksMutex);
    return blocks().size();
}

bool isDeviceRange(const void* pointer, std::size_t bytes)
{
    const std::lock_guard<std::mutex> lock(blocksMutex);
    auto block = blocks().upper_bound(address(pointer));
    if (block == blocks().begin()) {
        return false;
    }
    --block;
    const std::size_t offset = address(pointer) - block->first;
    return offset < block->second && bytes <= block->second - offset;
}

bool isDeviceByte(const void* pointer)
{
    return isDeviceRange(pointer, 1);
}

} // namespace cuda_host

extern "C" {

cudaError_t cudaMalloc(void** pointer, std::size_t bytes)
{
    CUDA_HOST_RUNTIME_CALL();
    return cuda_host::report(pointer == nullptr ? cudaErrorInvalidValue : allocate(pointer, bytes));
}

cudaError_t cudaMallocPitch(void** pointer, std::size_t* pitch, std::size_t widthBytes,
                            std::size_t height)
{
    CUDA_HOST_RUNTIME_CALL();
    if (pointer == nullptr || pitch == nullptr) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    if (widthBytes > most - rowAlignment) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    const std::size_t row = (widthBytes + rowAlignment - 1) / rowAlignment * rowAlignment;
    if (row != 0 && height > most / row) {
        return cuda_host::report(cudaErrorMemoryAllocation);
    }
    const cudaError_t error = allocate(pointer, row * height);
    if (error == cudaSuccess) {
        *pitch = row;
    }
    return cuda_host::report(error);
}

cudaError_t cudaFree(void* pointer)
{
    CUDA_HOST_RUNTIME_CALL();
    if (pointer == nullptr) {
        return cudaSuccess;
    }
    {
        const std::lock_guard<std::mutex> lock(blocksMutex);
        const auto block = blocks().find(address(pointer));
        if (block == blocks().end()) {
            return cuda_host::report(cudaErrorInvalidValue);
        }
        allocated -= block->second;
        blocks().erase(block);
    }
    std::free(pointer);
    return cudaSuccess;
}

cudaError_t cudaMemset(void* pointer, int value, std::size_t bytes)
{
    CUDA_HOST_RUNTIME_CALL();
    if (bytes == 0) {
        return cudaSuccess;
    }
    if (!cuda_host::isDeviceRange(pointer, bytes)) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    std::memset(pointer, value, bytes);
    return cudaSuccess;
}

cudaError_t cudaMemcpy(void* to, const void* from, std::size_t bytes, cudaMemcpyKind kind)
{
    CUDA_HOST_RUNTIME_CALL();
    Sides sides{};
    if (!sidesOf(kind, to, from, sides)) {
        return cuda_host::report(cudaErrorInvalidMemcpyDirection);
    }
    if (bytes == 0) {
        return cudaSuccess;
    }
    if (to == nullptr || from == nullptr || !sideIsUsable(sides.toDevice, to, bytes) ||
        !sideIsUsable(sides.fromDevice, from, bytes)) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    std::memmove(to, from, bytes);
    return cudaSuccess;
}

cudaError_t cudaMemcpy2D(void* to, std::size_t toPitch, const void* from, std::size_t fromPitch,
                         std::size_t widthBytes, std::size_t height, cudaMemcpyKind kind)
{
    CUDA_HOST_RUNTIME_CALL();
    Sides sides{};
    if (!sidesOf(kind, to, from, sides)) {
        return cuda_host::report(cudaErrorInvalidMemcpyDirection);
    }
    if (widthBytes > toPitch || widthBytes > fromPitch) {
        return cuda_host::report(cudaErrorInvalidPitchValue);
    }
    if (widthBytes == 0 || height == 0) {
        return cudaSuccess;
    }
    std::size_t toSpan = 0;
    std::size_t fromSpan = 0;
    if (to == nullptr || from == nullptr || !spanOf(toPitch, widthBytes, height, toSpan) ||
        !spanOf(fromPitch, widthBytes, height, fromSpan) ||
        !sideIsUsable(sides.toDevice, to, toSpan) ||
        !sideIsUsable(sides.fromDevice, from, fromSpan)) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    auto* target = static_cast<std::uint8_t*>(to);
    const auto* source = static_cast<const std::uint8_t*>(from);
    for (std::size_t row = 0; row < height; ++row) {
        std::memmove(target + row * toPitch, source + row * fromPitch, widthBytes);
    }
    return cudaSuccess;
}

cudaError_t cudaMemcpy2DToArray(cudaArray_t to, std::size_t xBytes, std::size_t y, const void* from,
                                std::size_t fromPitch, std::size_t widthBytes, std::size_t height,
                                cudaMemcpyKind kind)
{
    CUDA_HOST_RUNTIME_CALL();
    if (!cuda_host::isMappedArray(to)) {
        return cuda_host::report(cudaErrorInvalidResourceHandle);
    }
    bool fromDevice = false;
    switch (kind) {
    case cudaMemcpyHostToDevice:
        break;
    case cudaMemcpyDeviceToDevice:
        fromDevice = true;
        break;
    case cudaMemcpyDefault:
        fromDevice = cuda_host::isDeviceByte(from);
        break;
    default:
        return cuda_host::report(cudaErrorInvalidMemcpyDirection);
    }
    if (widthBytes > fromPitch) {
        return cuda_host::report(cudaErrorInvalidPitchValue);
    }
    if (widthBytes == 0 || height == 0) {
        return cudaSuccess;
    }
    const std::size_t rowBytes = to->width * 4;
    std::size_t span = 0;
    if (xBytes % 4 != 0 || widthBytes % 4 != 0 || xBytes > rowBytes ||
        widthBytes > rowBytes - xBytes || y > to->height || height > to->height - y ||
        from == nullptr || !spanOf(fromPitch, widthBytes, height, span) ||
        !sideIsUsable(fromDevice, from, span)) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    const auto* source = static_cast<const std::uint8_t*>(from);
    for (std::size_t row = 0; row < height; ++row) {
        std::memcpy(to->bytes.data() + (y + row) * rowBytes + xBytes, source + row * fromPitch,
                    widthBytes);
    }
    if (widthBytes == rowBytes && height == to->height) {
        to->written.clear();
    }
    to->written.push_back({xBytes / 4, y, widthBytes / 4, height});
    return cudaSuccess;
}

cudaError_t cudaMemGetInfo(std::size_t* freeBytes, std::size_t* totalBytes)
{
    CUDA_HOST_RUNTIME_CALL();
    if (freeBytes == nullptr || totalBytes == nullptr) {
        return cuda_host::report(cudaErrorInvalidValue);
    }
    const std::lock_guard<std::mutex> lock(blocksMutex);
    *totalBytes = budget;
    *freeBytes = budget > allocated ? budget - allocated : 0;
    return cudaSuccess;
}

} // extern "C"

#include <om_tiv/mat.h>

#include "library/mat_impl.h"
#include "library/the_bench.h"

#include <cuda_runtime_api.h>

#include <cstdlib>
#include <limits>

namespace om {

namespace {

bool holds(MEM mask, MEM kind)
{
    return (static_cast<int>(mask) & static_cast<int>(kind)) != 0;
}

std::size_t pixelBytes(MAT_TYPE type)
{
    return type == MAT_TYPE::F32_C4 ? 16 : 4;
}

/// Simulates too little device memory by an allocation that no device can serve, so that the CUDA
/// error is a real one.
void failAllocation()
{
    void* pointer = nullptr;
    if (cudaMalloc(&pointer, std::size_t{1} << 50) == cudaSuccess) {
        cudaFree(pointer);
    }
}

} // namespace

Mat::Mat() : m_impl(std::make_unique<Impl>()) {}

Mat::~Mat()
{
    free(MEM::BOTH);
}

void Mat::alloc(Resolution size, MAT_TYPE type, MEM memory)
{
    const Resolution had = m_impl->size;
    if (size.width != had.width || size.height != had.height || type != m_impl->type) {
        free(MEM::BOTH);
        m_impl->size = size;
        m_impl->type = type;
    }
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max() / 2;
    const std::size_t pixel = pixelBytes(type);
    if (size.width == 0 || size.height == 0 || size.width > most / pixel / size.height) {
        return;
    }
    const std::size_t row = size.width * pixel;
    Impl::Buffer& host = m_impl->host;
    if (holds(memory, MEM::CPU) && host.bytes == nullptr) {
        host.bytes = static_cast<std::uint8_t*>(std::calloc(size.height, row));
        host.step = host.bytes != nullptr ? row : 0;
    }
    Impl::Buffer& gpu = m_impl->gpu;
    if (holds(memory, MEM::GPU) && gpu.bytes == nullptr) {
        if (bench::theBench().isGpuMemoryShort()) {
            failAllocation();
            return;
        }
        void* pointer = nullptr;
        std::size_t pitch = 0;
        if (cudaMallocPitch(&pointer, &pitch, row, size.height) != cudaSuccess) {
            return;
        }
        cudaMemset(pointer, 0, pitch * size.height);
        gpu.bytes = static_cast<std::uint8_t*>(pointer);
        gpu.step = pitch;
    }
}

void Mat::free(MEM memory)
{
    Impl::Buffer& host = m_impl->host;
    if (holds(memory, MEM::CPU) && host.bytes != nullptr) {
        std::free(host.bytes);
        host = {};
    }
    Impl::Buffer& gpu = m_impl->gpu;
    if (holds(memory, MEM::GPU) && gpu.bytes != nullptr) {
        cudaFree(gpu.bytes);
        gpu = {};
    }
    if (host.bytes == nullptr && gpu.bytes == nullptr) {
        m_impl->size = Resolution();
    }
}

Resolution Mat::getResolution() const
{
    return m_impl->size;
}

MAT_TYPE Mat::getType() const
{
    return m_impl->type;
}

std::size_t Mat::getPixelBytes() const
{
    return pixelBytes(m_impl->type);
}

std::size_t Mat::getStepBytes(MEM memory) const
{
    return m_impl->buffer(memory).step;
}

std::uint8_t* Mat::getPtr(MEM memory) const
{
    return m_impl->buffer(memory).bytes;
}

} // namespace om

#include <om_tiv/mat.h>

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

/// Device memory that there is too little of: an allocation that no device can serve, so that the
/// CUDA error is a true one.
void failAllocation()
{
    void* pointer = nullptr;
    if (cudaMalloc(&pointer, std::size_t{1} << 50) == cudaSuccess) {
        cudaFree(pointer);
    }
}

} // namespace

Mat::~Mat()
{
    free(MEM::BOTH);
}

void Mat::alloc(Resolution size, MAT_TYPE type, MEM memory)
{
    if (size.width != m_size.width || size.height != m_size.height || type != m_type) {
        free(MEM::BOTH);
        m_size = size;
        m_type = type;
    }
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max() / 2;
    const std::size_t pixel = pixelBytes(type);
    if (size.width == 0 || size.height == 0 || size.width > most / pixel / size.height) {
        return;
    }
    const std::size_t row = size.width * pixel;
    if (holds(memory, MEM::CPU) && m_host == nullptr) {
        m_host = static_cast<std::uint8_t*>(std::calloc(size.height, row));
        m_hostStep = m_host != nullptr ? row : 0;
        m_hostContent = 0;
    }
    if (holds(memory, MEM::GPU) && m_gpu == nullptr) {
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
        m_gpu = static_cast<std::uint8_t*>(pointer);
        m_gpuStep = pitch;
        m_gpuContent = 0;
    }
}

void Mat::free(MEM memory)
{
    if (holds(memory, MEM::CPU) && m_host != nullptr) {
        std::free(m_host);
        m_host = nullptr;
        m_hostStep = 0;
        m_hostContent = 0;
    }
    if (holds(memory, MEM::GPU) && m_gpu != nullptr) {
        cudaFree(m_gpu);
        m_gpu = nullptr;
        m_gpuStep = 0;
        m_gpuContent = 0;
    }
    if (m_host == nullptr && m_gpu == nullptr) {
        m_size = Resolution();
    }
}

std::size_t Mat::getPixelBytes() const
{
    return pixelBytes(m_type);
}

std::size_t Mat::getStepBytes(MEM memory) const
{
    return memory == MEM::GPU ? m_gpuStep : m_hostStep;
}

std::uint8_t* Mat::getPtr(MEM memory) const
{
    return memory == MEM::GPU ? m_gpu : m_host;
}

} // namespace om

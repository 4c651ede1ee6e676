/// @file
/// Image and measure buffers.
#pragma once

#include <om_tiv/types.h>

#include <cstdint>

namespace om {

/// A two-dimensional buffer in host memory, GPU memory or both. Owns its memory; can't be copied.
/// One thread at a time may use an object.
class Mat
{
public:
    Mat() = default;
    ~Mat(); ///< frees both memories
    Mat(const Mat&) = delete;
    Mat& operator=(const Mat&) = delete;

    /// Allocates zeroed memory of the given kind. A buffer of the same size and type stays, another
    /// one is freed first. GPU memory is allocated in the calling thread's CUDA context. Memory
    /// that can't be allocated is null; for GPU memory cudaGetLastError() has the error, unless the
    /// size overflows.
    void alloc(Resolution size, MAT_TYPE type, MEM memory);

    /// Frees memory of the given kind. GPU memory is freed in the calling thread's current context.
    void free(MEM memory);

    Resolution getResolution() const { return m_size; }
    MAT_TYPE getType() const { return m_type; }
    /// Bytes of one pixel: 4 or 16.
    std::size_t getPixelBytes() const;
    /// Bytes from one row to the next; 0 if the kind has no memory. MEM::CPU or MEM::GPU.
    std::size_t getStepBytes(MEM memory) const;
    /// First byte, null if the kind has no memory. Valid until free() or the next alloc().
    std::uint8_t* getPtr(MEM memory) const;

private:
    friend class MatAccess;

    Resolution m_size;
    MAT_TYPE m_type = MAT_TYPE::F32_C1;
    std::uint8_t* m_host = nullptr;
    std::uint8_t* m_gpu = nullptr;
    std::size_t m_hostStep = 0;
    std::size_t m_gpuStep = 0;
    // Content of the buffers, so that rows that have not changed aren't written again.
    std::uint64_t m_hostContent = 0;
    std::uint64_t m_gpuContent = 0;
};

} // namespace om

/// @file
/// Image and measure buffers.
#pragma once

#include <om_tiv/types.h>

#include <cstdint>
#include <memory>

namespace om {

/// A two-dimensional buffer in host memory, GPU memory or both. Owns its memory; can't be copied.
/// One thread at a time may use an object.
class Mat
{
public:
    Mat();
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

    Resolution getResolution() const;
    MAT_TYPE getType() const;
    /// Bytes of one pixel: 4 or 16.
    std::size_t getPixelBytes() const;
    /// Bytes from one row to the next; 0 if the kind has no memory. MEM::CPU or MEM::GPU.
    std::size_t getStepBytes(MEM memory) const;
    /// First byte, null if the kind has no memory. Valid until free() or the next alloc().
    std::uint8_t* getPtr(MEM memory) const;

    class Impl; ///< used by the library only

private:
    std::unique_ptr<Impl> m_impl;
};

} // namespace om

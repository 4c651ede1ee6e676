/// @file
/// The members of a Mat, for the library's own sources.
#pragma once

#include <om_tiv/mat.h>

#include <cstdint>

namespace om {

class Mat::Impl
{
public:
    /// Memory of one kind.
    struct Buffer
    {
        std::uint8_t* bytes = nullptr;
        std::size_t step = 0;
        /// Content that the picture has written, so that rows that have not changed aren't written
        /// again; 0 for nothing.
        std::uint64_t content = 0;
    };

    /// @param memory MEM::CPU or MEM::GPU
    Buffer& buffer(MEM memory) { return memory == MEM::GPU ? gpu : host; }
    static Buffer& buffer(Mat& mat, MEM memory) { return mat.m_impl->buffer(memory); }

    Resolution size;
    MAT_TYPE type = MAT_TYPE::F32_C1;
    Buffer host;
    Buffer gpu;
};

} // namespace om

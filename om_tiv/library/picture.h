/// @file
/// The test picture that replaces the view of a camera, and its measures.
#pragma once

#include <om_tiv/camera.h>

#include <cstdint>
#include <vector>

namespace om::bench {

/// The picture: eight colour bars from white to black as on a test card, a grey ramp below them,
/// and across the middle a dark band in which a white mark moves right and back in 240 frames. A
/// cyan square is in the upper left corner of the left image, a magenta one in the upper right
/// corner of the right image.
///
/// The measures show a wall behind a floor, and the mark as a near object. Within the band, whose
/// rows are copies, y of XYZ is that of its first row.
///
/// Only the band differs from frame to frame, so only the band is written again into a buffer that
/// already has a frame. This makes writing very cheap. It requires that no other code writes to the
/// buffer.
class Picture
{
public:
    /// @param parameters the actual ones: units, coordinate system and depth limits of the measures
    explicit Picture(const InitParameters& parameters);

    /// Fills the buffer, which is allocated again if it does not fit.
    /// @param size 0 by 0 for full, the size of one image
    ERROR_CODE writeImage(Mat& mat, VIEW view, MEM memory, Resolution size, Resolution full,
                          std::uint64_t frame);
    ERROR_CODE writeMeasure(Mat& mat, MEASURE measure, MEM memory, Resolution size, Resolution full,
                            std::uint64_t frame);

private:
    /// The kinds of content, each with its own rows.
    enum class KIND : std::uint64_t { LEFT = 1, RIGHT, SIDE_BY_SIDE, DEPTH, XYZ };

    ERROR_CODE write(Mat& mat, KIND kind, MAT_TYPE type, MEM memory, Resolution size,
                     std::uint64_t frame);
    static bool isAsAbove(KIND kind, std::size_t y, std::size_t height);
    void fill(Mat& mat, KIND kind, MEM memory, std::uint64_t frame, bool bandOnly);
    void renderRow(std::uint8_t* row, KIND kind, Resolution size, std::size_t y,
                   std::uint64_t frame) const;
    void renderImageRow(std::uint8_t* row, bool right, std::size_t width, std::size_t height,
                        std::size_t y, std::uint64_t frame) const;
    void renderMeasureRow(std::uint8_t* row, bool xyz, Resolution size, std::size_t y,
                          std::uint64_t frame) const;

    InitParameters m_parameters;
    std::uint64_t m_identity; ///< different for each picture
    std::vector<std::uint8_t> m_rows;
};

} // namespace om::bench

#include "library/picture.h"

#include "base/noise.h"
#include "library/mat_impl.h"

#include <cuda_runtime_api.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>

namespace om::bench {

namespace {

constexpr std::uint64_t framesToAndFro = 240;

/// Blue, green, red, alpha.
using Colour = std::array<std::uint8_t, 4>;

constexpr std::array<Colour, 8> barColours = {{{255, 255, 255, 255},
                                               {0, 255, 255, 255},
                                               {255, 255, 0, 255},
                                               {0, 255, 0, 255},
                                               {255, 0, 255, 255},
                                               {0, 0, 255, 255},
                                               {255, 0, 0, 255},
                                               {0, 0, 0, 255}}};
constexpr Colour bandColour = {40, 40, 40, 255};
constexpr Colour markColour = {255, 255, 255, 255};
constexpr Colour leftCornerColour = {255, 255, 0, 255};
constexpr Colour rightCornerColour = {255, 0, 255, 255};

/// The scene of the measures, metres.
constexpr double wallDepth = 4.0;
constexpr double eyeHeight = 1.2;
constexpr double markDepth = 1.5;
/// Focal length relative to the image's width: a field of view of 90 degrees.
constexpr double focalLength = 0.5;

struct Range
{
    std::size_t begin;
    std::size_t end;

    bool contains(std::size_t i) const { return i >= begin && i < end; }
};

/// Rows of the band: a fortieth of the height about the middle, at least one row.
Range bandRows(std::size_t height)
{
    const std::size_t rows = std::max<std::size_t>(height / 40, 1);
    const std::size_t begin = (height - rows) / 2;
    return {begin, begin + rows};
}

constexpr std::size_t cornerRows(std::size_t height)
{
    return height / 10;
}
constexpr std::size_t rampBegin(std::size_t height)
{
    return height - height / 4;
}

/// Columns of the mark: a sixteenth of the width.
Range markColumns(std::size_t width, std::uint64_t frame)
{
    const std::size_t wide = std::max<std::size_t>(width / 16, 1);
    const std::uint64_t phase = frame % framesToAndFro;
    const std::uint64_t way = std::min(phase, framesToAndFro - phase); // 0 to half
    const std::size_t begin = static_cast<std::size_t>((width - wide) * way / (framesToAndFro / 2));
    return {begin, begin + wide};
}

void paint(std::uint8_t* row, Range columns, const Colour& colour)
{
    for (std::size_t x = columns.begin; x < columns.end; ++x) {
        std::memcpy(row + 4 * x, colour.data(), 4);
    }
}

double metresIn(UNIT unit)
{
    return unit == UNIT::MILLIMETRE ? 0.001 : 1.0;
}

} // namespace

Picture::Picture(const InitParameters& parameters) : m_parameters(parameters)
{
    static std::atomic<std::uint64_t> pictures{0};
    m_identity = mix(++pictures);
}

ERROR_CODE Picture::writeImage(Mat& mat, VIEW view, MEM memory, Resolution size, Resolution full,
                               std::uint64_t frame)
{
    KIND kind = KIND::LEFT;
    switch (view) {
    case VIEW::LEFT:
        break;
    case VIEW::RIGHT:
        kind = KIND::RIGHT;
        break;
    case VIEW::SIDE_BY_SIDE:
        kind = KIND::SIDE_BY_SIDE;
        full.width *= 2;
        break;
    default:
        return ERROR_CODE::INVALID_INPUT;
    }
    const bool own = size.width == 0 || size.height == 0;
    return write(mat, kind, MAT_TYPE::U8_C4, memory, own ? full : size, frame);
}

ERROR_CODE Picture::writeMeasure(Mat& mat, MEASURE measure, MEM memory, Resolution size,
                                 Resolution full, std::uint64_t frame)
{
    const bool own = size.width == 0 || size.height == 0;
    switch (measure) {
    case MEASURE::DEPTH:
        return write(mat, KIND::DEPTH, MAT_TYPE::F32_C1, memory, own ? full : size, frame);
    case MEASURE::XYZ:
        return write(mat, KIND::XYZ, MAT_TYPE::F32_C4, memory, own ? full : size, frame);
    }
    return ERROR_CODE::INVALID_INPUT;
}

ERROR_CODE Picture::write(Mat& mat, KIND kind, MAT_TYPE type, MEM memory, Resolution size,
                          std::uint64_t frame)
{
    mat.alloc(size, type, memory);
    const std::uint64_t content = m_identity + static_cast<std::uint64_t>(kind);
    for (const MEM one : {MEM::CPU, MEM::GPU}) {
        if ((static_cast<int>(memory) & static_cast<int>(one)) == 0) {
            continue;
        }
        if (mat.getPtr(one) == nullptr) {
            return ERROR_CODE::FAILURE;
        }
        std::uint64_t& held = Mat::Impl::buffer(mat, one).content;
        fill(mat, kind, one, frame, held == content);
        held = content;
    }
    return ERROR_CODE::SUCCESS;
}

/// Whether a row is the same as the one above it.
bool Picture::isAsAbove(KIND kind, std::size_t y, std::size_t height)
{
    const Range band = bandRows(height);
    if (band.contains(y) || y == band.end) {
        return y > band.begin && y < band.end;
    }
    const bool isImage = kind != KIND::DEPTH && kind != KIND::XYZ;
    return isImage && y != 0 && y != cornerRows(height) && y != rampBegin(height);
}

void Picture::fill(Mat& mat, KIND kind, MEM memory, std::uint64_t frame, bool bandOnly)
{
    const Resolution size = mat.getResolution();
    const std::size_t rowBytes = size.width * mat.getPixelBytes();
    const std::size_t step = mat.getStepBytes(memory);
    std::uint8_t* const to = mat.getPtr(memory);
    const Range band = bandRows(size.height);
    const Range rows = bandOnly ? band : Range{0, size.height};

    // Copied to GPU memory in pieces, to limit the intermediate buffer.
    const bool gpu = memory == MEM::GPU;
    const std::size_t most = gpu ? 64 : rows.end;
    if (gpu) {
        m_rows.resize(std::max(m_rows.size(), most * rowBytes));
    }
    for (std::size_t y = rows.begin; y < rows.end;) {
        const std::size_t count = std::min(most, rows.end - y);
        std::uint8_t* const target = gpu ? m_rows.data() : to + y * step;
        const std::size_t stride = gpu ? rowBytes : step;
        for (std::size_t i = 0; i < count; ++i) {
            std::uint8_t* const row = target + i * stride;
            if (i > 0 && isAsAbove(kind, y + i, size.height)) {
                std::memcpy(row, row - stride, rowBytes);
            } else {
                renderRow(row, kind, size, y + i, frame);
            }
        }
        if (gpu) {
            cudaMemcpy2D(to + y * step, step, target, rowBytes, rowBytes, count,
                         cudaMemcpyHostToDevice);
        }
        y += count;
    }
}

void Picture::renderRow(std::uint8_t* row, KIND kind, Resolution size, std::size_t y,
                        std::uint64_t frame) const
{
    switch (kind) {
    case KIND::LEFT:
    case KIND::RIGHT:
        renderImageRow(row, kind == KIND::RIGHT, size.width, size.height, y, frame);
        return;
    case KIND::SIDE_BY_SIDE: {
        const std::size_t left = size.width / 2;
        renderImageRow(row, false, left, size.height, y, frame);
        renderImageRow(row + 4 * left, true, size.width - left, size.height, y, frame);
        return;
    }
    case KIND::DEPTH:
    case KIND::XYZ:
        renderMeasureRow(row, kind == KIND::XYZ, size, y, frame);
        return;
    }
}

void Picture::renderImageRow(std::uint8_t* row, bool right, std::size_t width, std::size_t height,
                             std::size_t y, std::uint64_t frame) const
{
    if (width == 0) {
        return;
    }
    if (bandRows(height).contains(y)) {
        paint(row, {0, width}, bandColour);
        paint(row, markColumns(width, frame), markColour);
        return;
    }
    if (y >= rampBegin(height)) {
        for (std::size_t x = 0; x < width; ++x) {
            const auto grey = static_cast<std::uint8_t>(width > 1 ? 255 * x / (width - 1) : 0);
            paint(row, {x, x + 1}, {grey, grey, grey, 255});
        }
        return;
    }
    for (std::size_t bar = 0; bar < barColours.size(); ++bar) {
        paint(row, {bar * width / barColours.size(), (bar + 1) * width / barColours.size()},
              barColours[bar]);
    }
    const std::size_t square = cornerRows(height);
    if (y < square) {
        const std::size_t wide = std::min(square, width);
        paint(row, right ? Range{width - wide, width} : Range{0, wide},
              right ? rightCornerColour : leftCornerColour);
    }
}

void Picture::renderMeasureRow(std::uint8_t* row, bool xyz, Resolution size, std::size_t y,
                               std::uint64_t frame) const
{
    const auto width = static_cast<double>(size.width);
    const double down = (static_cast<double>(y) + 0.5 - 0.5 * static_cast<double>(size.height)) /
                        (focalLength * width);
    const double background = down > 0.0 ? std::min(wallDepth, eyeHeight / down) : wallDepth;
    const Range mark =
        bandRows(size.height).contains(y) ? markColumns(size.width, frame) : Range{0, 0};
    const double metre = metresIn(m_parameters.coordinateUnits);
    // x right, y down, z forward; in the other system y and z have the opposite direction.
    const double sign = m_parameters.coordinateSystem == COORDINATE_SYSTEM::IMAGE ? 1.0 : -1.0;

    std::vector<std::uint8_t> colours;
    if (xyz) {
        colours.resize(4 * size.width);
        renderImageRow(colours.data(), false, size.width, size.height, y, frame);
    }
    for (std::size_t x = 0; x < size.width; ++x) {
        const double depth = (mark.contains(x) ? markDepth : background) / metre;
        float values[4] = {};
        const float unmeasured = depth < double{m_parameters.depthMinimum}
                                     ? -std::numeric_limits<float>::infinity()
                                     : std::numeric_limits<float>::infinity();
        const bool measured = depth >= double{m_parameters.depthMinimum} &&
                              depth <= double{m_parameters.depthMaximum};
        if (!xyz) {
            values[0] = measured ? static_cast<float>(depth) : unmeasured;
            std::memcpy(row + 4 * x, values, 4);
            continue;
        }
        const double across = (static_cast<double>(x) + 0.5 - 0.5 * width) / (focalLength * width);
        values[0] = measured ? static_cast<float>(depth * across) : unmeasured;
        values[1] = measured ? static_cast<float>(sign * depth * down) : unmeasured;
        values[2] = measured ? static_cast<float>(sign * depth) : unmeasured;
        std::memcpy(&values[3], colours.data() + 4 * x, 4);
        std::memcpy(row + 16 * x, values, 16);
    }
}

} // namespace om::bench

#include "gpu/viewport.h"

#include <algorithm>
#include <cstdlib>

namespace {

int centred(float outer, float inner)
{
    return static_cast<int>((outer - inner) * 0.5F);
}

} // namespace

QRect letterbox(int w, int h, int imageWidth, int imageHeight)
{
    const float widgetAspect = static_cast<float>(w) / static_cast<float>(h);
    const float imageAspect = static_cast<float>(imageWidth) / static_cast<float>(imageHeight);
    if (widgetAspect > imageAspect) {
        const int width = static_cast<int>(static_cast<float>(h) * imageAspect);
        return {std::abs(w - width) >> 1, 0, width, h};
    }
    const int height = static_cast<int>(static_cast<float>(w) / imageAspect);
    return {0, std::abs(h - height) >> 1, w, height};
}

QRect squareViewport(float width, float height)
{
    const int side = static_cast<int>(std::max(width, height));
    const auto exact = static_cast<float>(side);
    return {centred(width, exact), centred(height, exact), side, side};
}

QRect squareViewportOfExactSide(float width, float height)
{
    const float exact = std::max(width, height);
    const int side = static_cast<int>(exact);
    return {centred(width, exact), centred(height, exact), side, side};
}

/// @file
/// Arithmetic of vectors and colours that the camera library does not provide.
#pragma once

#include "camera/camera_library.h"

inline om::Translation sum(const om::Translation& a, const om::Translation& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}

inline om::Translation negated(const om::Translation& v)
{
    return {-v.x, -v.y, -v.z};
}

inline om::Translation scaled(const om::Translation& v, float factor)
{
    return {v.x * factor, v.y * factor, v.z * factor};
}

inline float dot(const om::Translation& a, const om::Translation& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

/// A colour of the scene, 0.0 to 1.0 each, from 8-bit values.
inline om::Vector3<float> colour(int r, int g, int b)
{
    return {static_cast<float>(r) / 255.0F, static_cast<float>(g) / 255.0F,
            static_cast<float>(b) / 255.0F};
}

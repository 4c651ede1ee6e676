/// @file
/// Arithmetic of om::Translation that the camera library does not provide.
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

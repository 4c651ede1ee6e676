/// @file
/// The whole interface of the camera library.
#pragma once

#include <om_tiv/camera.h>
#include <om_tiv/mat.h>
#include <om_tiv/mcu.h>
#include <om_tiv/sensors.h>
#include <om_tiv/transform.h>
#include <om_tiv/types.h>

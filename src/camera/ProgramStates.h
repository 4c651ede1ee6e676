/// @file
/// The program's table of settings and measured values.
#pragma once

#include <QString>

/// Attributes addressed by small integers, one number space per type: settings that the viewer
/// requests from the camera, the camera's actual properties, and a few measured values. The input
/// thread, the window and the GPU views exchange them without pointers to each other.
///
/// Threads: the arrays are plain memory, with no lock and no atomics. Every access is one aligned
/// load or store of one element: a reader gets an old or a new value, and no attribute must be
/// consistent with another one. Only the interface thread uses the strings.
///
/// No operation checks the range of a number: callers use only the numbers named here.
class ProgramStates
{
public:
    // Boolean attributes. 0 and 2 are unused.
    static constexpr int inputPaused = 1;        ///< pause of the grab loop
    static constexpr int depthStabilization = 3; ///< depth stabilisation wanted

    // Integer attributes. 0, 14 and 16 are unused.
    static constexpr int requestedResolution = 1; ///< om::RESOLUTION to request
    static constexpr int depthMaximumMm = 2;      ///< depth limit, mm
    static constexpr int confidenceThreshold = 3; ///< of the runtime parameters, read every pass
    static constexpr int imageView = 4;           ///< om::VIEW of InputThreadModul::imageGpu
    static constexpr int playbackStep = 5;  ///< frames of a recorded file to advance per pass; 1 is
                                            ///< the file's own pace, without a seek
    static constexpr int image2View = 6;    ///< om::VIEW of InputThreadModul::image2Gpu
    static constexpr int imageWidth = 7;    ///< pixels, of imageGpu
    static constexpr int imageHeight = 8;   ///< pixels, of imageGpu
    static constexpr int image2Width = 9;   ///< pixels, of image2Gpu
    static constexpr int image2Height = 10; ///< pixels, of image2Gpu
    static constexpr int measuredFps = 11;  ///< measured frames per second
    static constexpr int cameraFps = 12;    ///< frames per second that the library reports
    static constexpr int requestedFps = 13; ///< frames per second to request; upper limit of
                                            ///< measuredFps with a live camera
    static constexpr int depthMode = 15;    ///< om::DEPTH_MODE; 0 turns depth retrieval off
    static constexpr int depthMinimumCm = 17; ///< depth limit, cm
    static constexpr int cameraModel = 18;    ///< om::MODEL of the open camera

    // Double attributes. 0 is unused.
    static constexpr int selectedPointX = 1; ///< selected image point, fraction of the width; -1.0
                                             ///< means none
    static constexpr int selectedPointY = 2; ///< same, of the height
    static constexpr int effectiveDepthMinimum = 3; ///< m, value of the library after open()

    // String attributes. 0 and 3 are unused.
    static constexpr int applicationTitle = 1;
    static constexpr int inputFilePath = 2; ///< recorded file in use

    ProgramStates();
    ~ProgramStates() = default;

    /// All booleans false, all numbers zero, all strings empty (and not null).
    static void resetStates();

    static void setBoolAttr(int number, bool value);
    static bool getBoolAttr(int number);
    static void switchBoolAttr(int number); ///< inverts

    static void setIntAttr(int number, int value);
    static int getIntAttr(int number);
    static int& intAttr(int number);

    static void setDoubleAttr(int number, double value);
    static double getDoubleAttr(int number);
    static double& doubleAttr(int number);

    static QString& qstringAttr(int number);

    // Zero, or null strings, at process start.
    static bool bool_attributes[4];
    static int int_attributes[19];
    static double double_attributes[4];
    static QString qstring_attributes[4];
};

/// @file
/// A bench with one camera, and the attributes as the viewer sets them before an open.
#pragma once

#include "library/the_bench.h"
#include "camera/ProgramStates.h"

#include <cuda_runtime_api.h>
#ifndef GRAVIMON_REAL_CUDA
#include <cuda_host.h>
#endif

#include <functional>
#include <utility>
#include <vector>

namespace camerafixture {

constexpr unsigned int SERIAL = 20000001;
constexpr int CAMERA_ID = 7;

inline om::bench::Bench& bench()
{
    return om::bench::theBench();
}

inline void setViewerAttributes()
{
    ProgramStates::resetStates();
    ProgramStates::setIntAttr(ProgramStates::requestedResolution, 6);
    ProgramStates::setIntAttr(ProgramStates::requestedFps, 100);
    ProgramStates::setIntAttr(ProgramStates::measuredFps, 100);
    ProgramStates::setIntAttr(ProgramStates::cameraFps, 100);
    ProgramStates::setIntAttr(ProgramStates::imageView, 0);
    ProgramStates::setIntAttr(ProgramStates::depthMode, 1);
    ProgramStates::setIntAttr(ProgramStates::depthMinimumCm, 100);
    ProgramStates::setIntAttr(ProgramStates::depthMaximumMm, 25000);
    ProgramStates::setIntAttr(ProgramStates::confidenceThreshold, 95);
    ProgramStates::setBoolAttr(ProgramStates::depthStabilization, true);
}

/// An empty log, one camera at rest, viewer's attributes.
inline void setUp(om::MODEL model = om::MODEL::TIV_Q)
{
    bench().reset();
    om::bench::CameraConfig config;
    config.model = model;
    config.serialNumber = SERIAL;
    config.id = CAMERA_ID;
    config.motion = om::bench::MOTION::AT_REST;
    bench().addCamera(config);
    setViewerAttributes();
}

inline std::uint64_t calls(om::bench::CALL call)
{
    return bench().log().count(call);
}

/// The log's hook for the life of the object. To be made after what it looks at, and to go while
/// the thread under test stands still.
class CallHook
{
public:
    explicit CallHook(std::function<void(const om::bench::CallRecord&)> hook)
    {
        bench().log().setHook(std::move(hook));
    }
    ~CallHook() { bench().log().setHook(nullptr); }
    CallHook(const CallHook&) = delete;
    CallHook& operator=(const CallHook&) = delete;
};

/// Whether the camera is open in any object.
inline bool inUse()
{
    const std::vector<om::bench::CameraStatus> status = bench().status();
    return !status.empty() && status.front().inUse;
}

/// Blocks of GPU memory allocated now. A real GPU is shared with others and can't tell: 0.
inline std::size_t gpuBlocks()
{
#ifdef GRAVIMON_REAL_CUDA
    return 0;
#else
    return cuda_host::allocationCount();
#endif
}

/// Leaves an error behind, as a failed call elsewhere would.
inline void leaveCudaError()
{
    void* pointer = nullptr;
    cudaMalloc(&pointer, std::size_t(1) << 50);
}

} // namespace camerafixture

/// @file
/// A bench with one camera, and the attributes that the viewer sets before an open.
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

constexpr unsigned int cameraSerial = 20000001;
constexpr int cameraId = 7;

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
    config.serialNumber = cameraSerial;
    config.id = cameraId;
    config.motion = om::bench::MOTION::AT_REST;
    bench().addCamera(config);
    setViewerAttributes();
}

inline std::uint64_t calls(om::bench::CALL call)
{
    return bench().log().count(call);
}

/// Sets the log's hook during its life. Create it after the objects that it uses, and destroy it
/// while the thread under test is stopped.
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

/// Blocks of GPU memory allocated now. 0 for a real GPU, which is shared with other programs.
inline std::size_t gpuBlocks()
{
#ifdef GRAVIMON_REAL_CUDA
    return 0;
#else
    return cuda_host::allocationCount();
#endif
}

/// Sets the last error, like a failed call elsewhere.
inline void leaveCudaError()
{
    void* pointer = nullptr;
    cudaMalloc(&pointer, std::size_t(1) << 50);
}

} // namespace camerafixture

/// CPU time of a paint of the 3D scene.
///
///   visualize/calls    buffers, matrices and calls; the draw calls end in this program
///   visualize/vertices the same with the real draw calls, nothing rasterised
///   visualize/pixels   the same with everything drawn, including the wait for the picture
///   visualize/everything_uploaded  like calls, but with the whole scene uploaded in each frame
///
/// The argument is the camera model. Under a software OpenGL "vertices" and "pixels" are the
/// driver's work on the CPU; on a GPU it is the GPU's.
#include "camera/ProgramStates.h"
#include "gpu/CameraGL.h"
#include "gpu/OGL3DWidget.h"
#include "gpu/Simple3DObject.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QOpenGLContext>

#include <benchmark/benchmark.h>

#include <cstdint>

namespace {

using DrawElements = void (*)(GLenum, GLsizei, GLenum, const void*);

bool drawsAreNeutral = false;
std::uint64_t drawCalls = 0;
std::uint64_t drawnIndices = 0;

DrawElements realDrawElements()
{
    static const auto real = reinterpret_cast<DrawElements>(
        QOpenGLContext::currentContext()->getProcAddress("glDrawElements"));
    return real;
}

} // namespace

/// Replaces the library's function for the scene's own draw calls.
extern "C" void glDrawElements(GLenum mode, GLsizei count, GLenum type, const void* indices)
{
    ++drawCalls;
    drawnIndices += static_cast<std::uint64_t>(count);
    if (!drawsAreNeutral) {
        realDrawElements()(mode, count, type, indices);
    }
}

namespace {

class View : public OGL3DWidget
{
public:
    using OGL3DWidget::axes;
    using OGL3DWidget::camera;
    using OGL3DWidget::cameraModel;
    using OGL3DWidget::floorGrid;
};

enum class MODE { CALLS, VERTICES, PIXELS, EVERYTHING_UPLOADED };

void visualize(benchmark::State& state, MODE mode)
{
    ProgramStates::setIntAttr(ProgramStates::cameraModel, static_cast<int>(state.range(0)));
    View view;
    view.resize(640, 480);
    view.show();
    QElapsedTimer patience;
    patience.start();
    while (!view.isValid() && patience.elapsed() < 5000) {
        QApplication::processEvents();
    }
    if (!view.isValid()) {
        state.SkipWithError("no OpenGL");
        return;
    }
    view.InitProcess();
    view.makeCurrent();
    glClear(GL_COLOR_BUFFER_BIT);
    drawsAreNeutral = mode == MODE::CALLS || mode == MODE::EVERYTHING_UPLOADED;
    if (mode == MODE::VERTICES) {
        glEnable(GL_RASTERIZER_DISCARD);
    }
    view.setAccStrenght(0, 1, 0);
    view.visualize();
    glFinish();

    drawCalls = 0;
    drawnIndices = 0;
    float angle = 0;
    for (auto _ : state) {
        // A new pose, acceleration and viewpoint in each frame.
        angle += 0.01F;
        const om::Orientation pose(om::Rotation(angle, om::Translation(1, 2, 3)));
        view.setCameraModelOr(pose);
        view.setAccStrenght(angle, 1, -angle);
        view.camera->rotate(om::Rotation(0.001F, om::Translation(0, 1, 0)));
        if (mode == MODE::EVERYTHING_UPLOADED) {
            view.floorGrid->pushToGPU();
            view.axes->pushToGPU();
            view.cameraModel->pushToGPU();
        }
        view.visualize();
        if (mode == MODE::PIXELS) {
            glFinish();
        }
    }
    glFinish();
    glDisable(GL_RASTERIZER_DISCARD);
    drawsAreNeutral = false;
    if (glGetError() != GL_NO_ERROR) {
        state.SkipWithError("OpenGL error");
    }
    const auto frames = static_cast<double>(state.iterations());
    state.counters["draw calls"] = static_cast<double>(drawCalls) / frames;
    state.counters["vertices"] = static_cast<double>(drawnIndices) / frames;
}

BENCHMARK_CAPTURE(visualize, calls, MODE::CALLS)->Arg(0)->Arg(1)->Arg(2);
BENCHMARK_CAPTURE(visualize, everything_uploaded, MODE::EVERYTHING_UPLOADED)->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(visualize, vertices, MODE::VERTICES)->Arg(0)->Arg(1);
BENCHMARK_CAPTURE(visualize, pixels, MODE::PIXELS)->Arg(0)->Arg(1);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    QApplication application(argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

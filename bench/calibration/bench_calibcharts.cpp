/// One tick of the calibration dialog's update timer while it calibrates: the fit, the ellipses,
/// all five plots and the labels, up to the X server. For comparison: the same changes with every
/// plot drawn after each of them.
///
/// The arguments are numbers of samples. Needs a display.

#include "calibration/dialogfixture.h"

#include <benchmark/benchmark.h>

#include <QApplication>

#include <array>

namespace {

/// A dialog with n samples, with its timer and its thread stopped.
class HeldDialog
{
public:
    explicit HeldDialog(int count)
    {
        m_fixture.dialog->show();
        (void)QTest::qWaitForWindowExposed(m_fixture.dialog.get());
        probe().updateTimer.stop();
        probe().mcu->stopCapture();
        probe().stopAcquisition();
        for (int i = 0; i < count; ++i) {
            const double up = 1.0 - (2.0 * i + 1.0) / count;
            const double across = std::sqrt(1.0 - up * up);
            probe().rawX.append(18.5 + 50.9 * across * std::cos(2.399963 * i));
            probe().rawY.append(24.0 + 44.6 * up);
            probe().rawZ.append(-11.5 + 49.0 * across * std::sin(2.399963 * i));
        }
        probe().setCalibrating(true);
        tick(); // the first one sets up the scales
    }
    ~HeldDialog() { probe().setCalibrating(false); }
    HeldDialog(const HeldDialog&) = delete;
    HeldDialog& operator=(const HeldDialog&) = delete;

    MagCalibDlgProbe& probe() { return *m_fixture.probe; }

    /// A tick with 50 new samples, and the painting after it.
    void tick()
    {
        probe().lastFitCount = probe().rawX.size() - 50;
        probe().onUpdateTimer();
        QCoreApplication::processEvents();
    }

    /// A tick between two fits.
    void tickWithoutFit()
    {
        probe().lastFitCount = probe().rawX.size();
        probe().onUpdateTimer();
        QCoreApplication::processEvents();
    }

    /// The charts' part of a tick with a fit, with each change drawn at once: the curves twice, and
    /// the ellipses in between.
    void everyChangeDrawn()
    {
        setCurves();
        drawEllipses();
        setCurves();
        QCoreApplication::processEvents();
    }

private:
    void setCurves()
    {
        const std::array<std::tuple<QwtPlotCurve*, const QVector<double>*, const QVector<double>*>,
                         9>
            curves = {{{probe().curveMixedRawXY(), &probe().rawX, &probe().rawY},
                       {probe().curveMixedRawXZ(), &probe().rawX, &probe().rawZ},
                       {probe().curveMixedRawYZ(), &probe().rawY, &probe().rawZ},
                       {probe().curveCalXY(), &probe().calX, &probe().calY},
                       {probe().curveCalXZ(), &probe().calX, &probe().calZ},
                       {probe().curveCalYZ(), &probe().calY, &probe().calZ},
                       {probe().curveRawXY(), &probe().rawX, &probe().rawY},
                       {probe().curveRawXZ(), &probe().rawX, &probe().rawZ},
                       {probe().curveRawYZ(), &probe().rawY, &probe().rawZ}}};
        for (const auto& [curve, x, y] : curves) {
            curve->setSamples(*x, *y);
        }
        for (const auto& [curve, x, y] :
             {std::tuple{probe().curveLastXY(), &probe().rawX, &probe().rawY},
              std::tuple{probe().curveLastXZ(), &probe().rawX, &probe().rawZ},
              std::tuple{probe().curveLastYZ(), &probe().rawY, &probe().rawZ}}) {
            curve->setSamples(&x->constLast(), &y->constLast(), 1);
        }
    }

    void drawEllipses()
    {
        const Ui_MagCalibDlg* const ui = probe().ui;
        ui->widget_plot_XY->setFitEllipse(CalibPlot::PLANE_XY, -32.0F, -20.0F, 101.0F, 89.0F);
        ui->widget_plot_XZ->setFitEllipse(CalibPlot::PLANE_XZ, -32.0F, -60.0F, 101.0F, 98.0F);
        ui->widget_plot_YZ->setFitEllipse(CalibPlot::PLANE_YZ, -20.0F, -60.0F, 89.0F, 98.0F);
        for (CalibPlot* const plot : {ui->widget_plot_mixed_raw, ui->widget_plot_calibrated}) {
            for (const auto plane :
                 {CalibPlot::PLANE_XY, CalibPlot::PLANE_XZ, CalibPlot::PLANE_YZ}) {
                plot->setFitEllipse(plane, -1.0F, -1.0F, 2.0F, 2.0F);
            }
        }
    }

    DialogFixture m_fixture;
};

template <void (HeldDialog::*Step)()>
void run(benchmark::State& state)
{
    HeldDialog dialog(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        (dialog.*Step)();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void tick(benchmark::State& state)
{
    run<&HeldDialog::tick>(state);
}
void tickWithoutFit(benchmark::State& state)
{
    run<&HeldDialog::tickWithoutFit>(state);
}
void everyChangeDrawn(benchmark::State& state)
{
    run<&HeldDialog::everyChangeDrawn>(state);
}

void samples(benchmark::internal::Benchmark* benchmark)
{
    // Wall-clock time, because the X server draws in its own process.
    benchmark->Arg(1000)->Arg(5000)->Arg(20000)->UseRealTime()->Unit(benchmark::kMillisecond);
}

BENCHMARK(tick)->Apply(samples);
BENCHMARK(tickWithoutFit)->Apply(samples);
BENCHMARK(everyChangeDrawn)->Apply(samples);

} // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

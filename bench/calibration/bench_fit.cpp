/// The ellipsoid fit compared with numpy, with the same samples in one run.
///
/// GRAVIMON_PYTHON selects another Python than that of the build.

#include "calibration/mag_calib.h"

#include "calibration/clouds.h"

#include <benchmark/benchmark.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

const clouds::Cloud& cloud(int count)
{
    static std::map<int, clouds::Cloud> all;
    const auto found = all.find(count);
    if (found != all.end()) {
        return found->second;
    }
    return all[count] = clouds::onEllipsoid(count, {18.5, 24.0, -11.5}, {50.9, 44.6, 49.0}, 0.25);
}

/// A Python process that computes fits, one line per command.
class Numpy
{
public:
    static Numpy& instance()
    {
        static Numpy numpy;
        return numpy;
    }

    std::string ask(const std::string& command)
    {
        std::fprintf(m_in, "%s\n", command.c_str());
        std::fflush(m_in);
        char line[400];
        if (!std::fgets(line, sizeof line, m_out)) {
            throw std::runtime_error("numpy does not answer");
        }
        std::string answer(line);
        answer.pop_back();
        return answer;
    }

    void load(const clouds::Cloud& samples)
    {
        char path[] = "/tmp/bench_fit.XXXXXX";
        const int file = ::mkstemp(path);
        for (const Eigen::VectorXd* const axis : {&samples.x, &samples.y, &samples.z}) {
            const auto bytes = static_cast<std::size_t>(axis->size()) * sizeof(double);
            if (::write(file, axis->data(), bytes) != static_cast<ssize_t>(bytes)) {
                throw std::runtime_error("cannot write the samples");
            }
        }
        ::close(file);
        const std::string answer = ask(std::string("load ") + path);
        ::unlink(path);
        if (answer != "ok " + std::to_string(samples.x.size())) {
            throw std::runtime_error("numpy has read " + answer);
        }
    }

private:
    Numpy()
    {
        int in[2];
        int out[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0) {
            throw std::runtime_error("no pipes");
        }
        m_child = ::fork();
        if (m_child == 0) {
            ::dup2(in[0], 0);
            ::dup2(out[1], 1);
            for (const int end : {in[0], in[1], out[0], out[1]}) {
                ::close(end);
            }
            const char* const chosen = std::getenv("GRAVIMON_PYTHON");
            const char* const python = chosen ? chosen : GRAVIMON_NUMPY_PYTHON;
            ::execlp(python, python, GRAVIMON_FIT_NUMPY, static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        m_in = ::fdopen(in[1], "w");
        m_out = ::fdopen(out[0], "r");
    }

    ~Numpy()
    {
        std::fclose(m_in);
        std::fclose(m_out);
        ::waitpid(m_child, nullptr, 0);
    }

    pid_t m_child = -1;
    std::FILE* m_in = nullptr;
    std::FILE* m_out = nullptr;
};

void fit(benchmark::State& state)
{
    clouds::Cloud samples = cloud(static_cast<int>(state.range(0)));
    MagCalib calib;
    for (auto _ : state) {
        calib.ellipsoidCalibration(samples.x, samples.y, samples.z, 1.0);
        benchmark::DoNotOptimize(calib.scale);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

/// Timed inside Python, around the fit only, without the pipe.
void fitByNumpy(benchmark::State& state)
{
    clouds::Cloud samples = cloud(static_cast<int>(state.range(0)));
    MagCalib calib;
    calib.ellipsoidCalibration(samples.x, samples.y, samples.z, 1.0);
    try {
        Numpy::instance().load(samples);
        for (auto _ : state) {
            std::istringstream answer(Numpy::instance().ask("fit"));
            double nanoseconds = 0.0;
            double center = 0.0;
            double scale = 0.0;
            answer >> nanoseconds >> center >> scale;
            state.SetIterationTime(nanoseconds * 1e-9);
            if (!(std::abs(center - calib.center[0]) < 1e-7 &&
                  std::abs(scale / calib.scale[0] - 1.0) < 1e-9)) {
                state.SkipWithError("numpy fits something else");
                break;
            }
        }
        state.SetLabel(Numpy::instance().ask("about"));
    } catch (const std::exception& error) {
        state.SkipWithError(error.what());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void counts(benchmark::internal::Benchmark* benchmark)
{
    for (const int count : {101, 1000, 10000, 100000}) {
        benchmark->Arg(count);
    }
}

BENCHMARK(fit)->Apply(counts)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(fitByNumpy)->Apply(counts)->Unit(benchmark::kMicrosecond)->UseManualTime();

} // namespace

BENCHMARK_MAIN();

/// From a recorded file to its report: the reader, the Allan deviation and the whole, beside the
/// usual ways: streams of the standard library, and numpy.
///
/// GRAVIMON_REPORT_ROWS sets the length of the recording, 40000 rows by default. Accelerometer and
/// gyroscope, as a night at 400 Hz has them.

#include "analysis/noise_model.h"
#include "analysis/recording.h"
#include "report/json_file.h"
#include "report/model.h"
#include "report/page.h"

#include "analysis/noise_samples.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr double period = 0.0025;

std::size_t rows()
{
    const char* const chosen = std::getenv("GRAVIMON_REPORT_ROWS");
    return chosen != nullptr ? std::strtoul(chosen, nullptr, 10) : 40'000;
}

QString tmpfsFolder()
{
    return QFile::exists(QStringLiteral("/dev/shm")) ? QStringLiteral("/dev/shm/gravimon-XXXXXX")
                                                     : QStringLiteral("/tmp/gravimon-XXXXXX");
}

/// The recording, written once.
class File
{
public:
    static const File& instance()
    {
        static const File file;
        return file;
    }
    const std::string& path() const { return m_path; }
    double bytes() const { return m_bytes; }

private:
    File() : m_folder(tmpfsFolder())
    {
        m_path = m_folder.filePath("night.csv").toStdString();
        std::array<std::vector<double>, 6> axes;
        for (std::size_t i = 0; i < axes.size(); ++i) {
            axes.at(i) = noise_samples::whiteAndWalk(rows(), period, 2e-3, 2e-5, i + 1);
        }
        std::FILE* const file = std::fopen(m_path.c_str(), "w");
        if (file == nullptr) {
            throw std::runtime_error("cannot write " + m_path);
        }
        std::fputs("idx,imu_Timestamp[sec],accX[m/s^2],accY[m/s^2],accZ[m/s^2],gyroX[deg/s],"
                   "gyroY[deg/s],gyroZ[deg/s],\n",
                   file);
        for (std::size_t i = 0; i < rows(); ++i) {
            const std::size_t microseconds = i * 2500;
            std::fprintf(file, "%zu,%zu.%06zu001,%.9f,%.9f,%.9f,%.9f,%.9f,%.9f,\n", i,
                         1706711000 + microseconds / 1000000, microseconds % 1000000, axes[0][i],
                         9.8 + axes[1][i], axes[2][i], axes[3][i], axes[4][i], axes[5][i]);
        }
        m_bytes = static_cast<double>(std::ftell(file));
        std::fclose(file);
    }

    QTemporaryDir m_folder;
    std::string m_path;
    double m_bytes = 0.0;
};

analysis::Recording readFile()
{
    std::string error;
    auto recording = analysis::readRecording(File::instance().path(), error);
    if (!recording) {
        throw std::runtime_error(error);
    }
    return std::move(*recording);
}

void countBytes(benchmark::State& state)
{
    state.counters["bytes"] =
        benchmark::Counter(File::instance().bytes() * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate, benchmark::Counter::kIs1000);
}

void read(benchmark::State& state)
{
    File::instance();
    for (auto _ : state) {
        benchmark::DoNotOptimize(readFile());
    }
    countBytes(state);
}
BENCHMARK(read)->Unit(benchmark::kMillisecond);

/// What one writes first: lines and fields by streams of the standard library.
void readByStreams(benchmark::State& state)
{
    File::instance();
    for (auto _ : state) {
        std::vector<std::array<double, 8>> all;
        std::ifstream file(File::instance().path());
        std::string line;
        std::getline(file, line);
        while (std::getline(file, line)) {
            std::istringstream fields(line);
            std::array<double, 8> values{};
            std::string field;
            for (double& value : values) {
                std::getline(fields, field, ',');
                value = std::stod(field);
            }
            all.push_back(values);
        }
        benchmark::DoNotOptimize(all);
    }
    countBytes(state);
}
BENCHMARK(readByStreams)->Unit(benchmark::kMillisecond);

/// Six axes.
void allan(benchmark::State& state)
{
    const analysis::Recording recording = readFile();
    for (auto _ : state) {
        for (const analysis::Vectors* const vectors :
             {&recording.acceleration, &recording.angularVelocity}) {
            for (const std::vector<double>& axis : vectors->axes) {
                benchmark::DoNotOptimize(analysis::overlappingAllan({axis}, period));
            }
        }
    }
}
BENCHMARK(allan)->Unit(benchmark::kMillisecond);

enum STEP { READ, ALLAN };

void numpy(benchmark::State& state, STEP step)
{
    // The shell splits a path with blanks in the command.
    // NOLINTBEGIN(concurrency-mt-unsafe): the only thread
    ::setenv("GRAVIMON_SCRIPT", GRAVIMON_REPORT_NUMPY, 1);
    ::setenv("GRAVIMON_RECORDING", File::instance().path().c_str(), 1);
    // NOLINTEND(concurrency-mt-unsafe)
    const analysis::Recording recording = readFile();
    const double expected = analysis::deviation(analysis::DEVIATION::OVERLAPPING_ALLAN,
                                                recording.acceleration.axes[0], 1);
    for (auto _ : state) {
        std::FILE* const output =
            ::popen(GRAVIMON_NUMPY_PYTHON " \"$GRAVIMON_SCRIPT\" \"$GRAVIMON_RECORDING\"", "r");
        double seconds[2] = {};
        double deviation = 0.0;
        const int found = std::fscanf(output, "%lf %lf %lf", &seconds[0], &seconds[1], &deviation);
        if (::pclose(output) != 0 || found != 3 || std::abs(deviation / expected - 1.0) > 1e-9) {
            state.SkipWithError("numpy finds something else");
            break;
        }
        state.SetIterationTime(seconds[step]);
    }
    if (step == READ) {
        countBytes(state);
    }
}
BENCHMARK_CAPTURE(numpy, read, READ)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(numpy, allan, ALLAN)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

/// From the file to the page and the numbers.
void whole(benchmark::State& state)
{
    File::instance();
    for (auto _ : state) {
        std::vector<report::RecordingReport> reports;
        reports.push_back(report::analyse(readFile(), {}));
        std::vector<std::vector<report::Topic>> topics;
        topics.push_back(report::topicsOf(reports.front()));
        benchmark::DoNotOptimize(report::pageOf(reports, topics));
        benchmark::DoNotOptimize(report::jsonText(reports));
    }
    countBytes(state);
    struct rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_mb"] = static_cast<double>(usage.ru_maxrss) / 1e3;
}
BENCHMARK(whole)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    ::setenv("QT_QPA_PLATFORM", "offscreen", 1); // NOLINT(concurrency-mt-unsafe): the only thread
    const QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

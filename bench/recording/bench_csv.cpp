// Rows per second of the recorder: a text stream is created, one row formatted, the stream
// destroyed, and the row written to the file, which is opened as the program opens it. On tmpfs, so
// that the disk doesn't count.

#include "recording/line_file.h"
#include "recording/recorder.h"

#include <QByteArray>
#include <QFile>
#include <QTemporaryDir>
#include <QTextStream>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

recorder::Row rowAt(int index)
{
    recorder::Row row;
    row.index = index;
    row.imuTime = 1706711000.0 + index * 0.0025;
    row.magTime = row.imuTime - 0.004;
    row.baroTime = row.imuTime - 0.016;
    const double wave = 0.001 * (index % 997);
    row.acceleration = {wave, -9.806650162, 0.123456789 + wave};
    row.angularVelocity = {12.5 + wave, -250.062500000, 0.031250000};
    row.magneticField = {-21.4375, 13.0625 + wave, 44.875};
    row.orientation = {-179.990005493, 45.123 + wave, 0.5};
    row.pressure = 1013.25 + wave;
    row.relativeAltitude = -1.25 + wave;
    row.movingState = 1.0;
    row.tempLeft = 31.5;
    row.tempRight = 32.25;
    row.tempImu = 36.6F;
    row.tempBarometer = 30.1F;
    return row;
}

QString tmpfsFolder()
{
    return QFile::exists(QStringLiteral("/dev/shm")) ? QStringLiteral("/dev/shm/gravimon-XXXXXX")
                                                     : QStringLiteral("/tmp/gravimon-XXXXXX");
}

/// The file is started again after this number, so that a long run doesn't fill the memory.
constexpr int mostRows = 200'000;

/// Creates the writer for the open file and runs it.
template <typename MakeWriter>
void run(benchmark::State& state, MakeWriter makeWriter)
{
    QTemporaryDir folder(tmpfsFolder());
    QFile file(folder.filePath(QStringLiteral("rows.csv")));
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        state.SkipWithError("cannot write on tmpfs");
        return;
    }
    const auto writeRow = makeWriter(file);
    int index = 0;
    for (auto _ : state) {
        writeRow(rowAt(index++));
        if (index % mostRows == 0) {
            file.resize(0);
            file.seek(0);
        }
    }
    state.SetItemsProcessed(state.iterations());
}

RecOptions allColumns()
{
    RecOptions options;
    options.accelerometer = options.gyroscope = options.magnetometer = options.orientation = true;
    options.barometer = options.temperatures = options.movement = true;
    return options;
}

void BM_RowAsRecorded(benchmark::State& state)
{
    const RecOptions options = allColumns();
    run(state, [&](QFile& file) {
        return [&options, lines = recorder::LineFile::on(file.handle())](const recorder::Row& row) {
            QByteArray line;
            {
                QTextStream stream(&line, QIODevice::WriteOnly);
                recorder::writeRow(stream, options, row);
            }
            lines->write(line);
        };
    });
}
BENCHMARK(BM_RowAsRecorded);

/// An alternative: a text stream on the file itself, whose buffer start and stop would flush at the
/// same time as the sensor thread.
void BM_RowThroughTheFilesBuffer(benchmark::State& state)
{
    const RecOptions options = allColumns();
    run(state, [&](QFile& file) {
        return [&](const recorder::Row& row) {
            QTextStream stream(&file);
            recorder::writeRow(stream, options, row);
        };
    });
}
BENCHMARK(BM_RowThroughTheFilesBuffer);

/// Another alternative: one stream for the whole recording, flushed when its buffer is full.
void BM_RowOfOneStream(benchmark::State& state)
{
    const RecOptions options = allColumns();
    run(state, [&](QFile& file) {
        return [&options, stream = std::make_unique<QTextStream>(&file)](const recorder::Row& row) {
            recorder::writeRow(*stream, options, row);
        };
    });
}
BENCHMARK(BM_RowOfOneStream);

} // namespace

BENCHMARK_MAIN();

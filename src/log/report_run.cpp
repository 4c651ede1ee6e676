#include "log/report_run.h"

#include "files/files.h"
#include "log/command_line.h"
#include "log/end_signals.h"
#include "report/figures.h"
#include "report/json_file.h"
#include "report/page.h"
#include "report/pdf_file.h"
#include "report/verdicts.h"
#include "report/yaml_file.h"
#include "terminal/messages.h"

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSaveFile>
#include <QString>
#include <QTextCodec>
#include <QtGlobal>

#include <cerrno>
#include <iostream>
#include <memory>
#include <optional>
#include <system_error>

namespace samplelog {

namespace {

/// While the object exists, each byte of a file's name is a character of Qt's name, and back. Qt
/// converts names by the user's locale otherwise, and replaces what is not valid there.
class NamesAsBytes
{
public:
    NamesAsBytes() { QTextCodec::setCodecForLocale(QTextCodec::codecForName("ISO-8859-1")); }
    ~NamesAsBytes() { QTextCodec::setCodecForLocale(m_before); }
    NamesAsBytes(const NamesAsBytes&) = delete;
    NamesAsBytes& operator=(const NamesAsBytes&) = delete;

private:
    QTextCodec* const m_before = QTextCodec::codecForLocale();
};

struct Output
{
    const char* option;
    std::string path;
};

/// Equal for two names of one file, also of one that is not there yet.
QString placeOf(const Output& output)
{
    const NamesAsBytes names;
    const QFileInfo file(QFile::decodeName(output.path.c_str()));
    if (file.exists()) {
        return file.canonicalFilePath();
    }
    // QSaveFile follows a link to a file that does not exist.
    constexpr int mostLinks = 40;
    QFileInfo target = file;
    for (int links = 0; target.isSymLink() && links < mostLinks; ++links) {
        target.setFile(target.symLinkTarget());
    }
    const QString folder = QFileInfo(target.absolutePath()).canonicalFilePath();
    return (folder.isEmpty() ? target.absolutePath() : folder) + "/" + target.fileName();
}

/// The reason why the file can't be written, as far as it is known before the recordings are read;
/// empty if there is none.
std::string problemWith(const Output& output, const std::vector<std::string>& recordings)
{
    const NamesAsBytes names;
    const QFileInfo file(QFile::decodeName(output.path.c_str()));
    if (file.exists() && !file.isFile()) {
        return output.path + ": is not a regular file";
    }
    const QFileInfo folder(file.absolutePath());
    if (!folder.isDir() || !folder.isWritable()) {
        return output.path + ": the folder is missing or cannot be written";
    }
    for (const std::string& recording : recordings) {
        const QFileInfo read(QFile::decodeName(recording.c_str()));
        if (read.exists() && read.canonicalFilePath() == file.canonicalFilePath()) {
            return std::string(output.option) + " " + output.path +
                   ": would overwrite the recording; choose another name";
        }
    }
    return {};
}

/// Drops Qt's warnings about a missing window system.
void dropMessage(QtMsgType type, const QMessageLogContext& /*context*/, const QString& text)
{
    if (type == QtFatalMsg || type == QtCriticalMsg) {
        terminal::printError(text.toStdString());
    }
}

/// The application object that drawing needs, if there is none yet. Its platform is the one without
/// a display, so that reports are the same on every machine.
std::unique_ptr<QApplication> drawingApplication()
{
    if (QCoreApplication::instance() != nullptr) {
        return nullptr;
    }
    qInstallMessageHandler(dropMessage);
    ::qputenv("QT_QPA_PLATFORM", "offscreen");
    static int count = 1;
    static char name[] = "gravimon-log";
    static char* arguments[] = {name, nullptr};
    return std::make_unique<QApplication>(count, arguments);
}

/// A full disk accepts a part first, and only the next write has a reason.
bool writeAll(QIODevice& file, const QByteArray& content)
{
    qint64 written = 1;
    for (qint64 done = 0; done < content.size() && written > 0; done += written) {
        written = file.write(content.constData() + done, content.size() - done);
    }
    return written > 0;
}

bool write(const std::string& path, const QByteArray& content)
{
    const EndSignalsBlocked blocked; // a QSaveFile that is not destroyed can leave a file
    const NamesAsBytes names;
    QSaveFile file(QFile::decodeName(path.c_str()));
    // Without a buffer, because commit() ignores the error if the buffer does not fit on the disk.
    // It also ignores an error of fsync().
    if (file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && writeAll(file, content)) {
        if (!files::flushToDisk(file.handle())) {
            terminal::printError(path +
                                 ": cannot be written: " + std::generic_category().message(errno));
            return false; // the destructor removes the temporary file
        }
        if (file.commit()) {
            return true;
        }
    }
    terminal::printError(path +
                         ": cannot be written: " + file.errorString().toLocal8Bit().toStdString());
    return false;
}

void print(const report::RecordingReport& report)
{
    std::cout << report.path << ": " << report::nameOf(report.overall()) << "\n";
    if (!report.warning.empty()) {
        std::cout << "  " << report.warning << "\n";
    }
    for (const report::Verdict& verdict : report.verdicts) {
        std::cout << "  " << report::nameOf(verdict.state) << ": " << verdict.what << ": "
                  << verdict.value << " (limit: " << verdict.limit << ")\n";
    }
}

std::vector<Output> outputsOf(const ReportCommand& command)
{
    return {{"-o", command.htmlPath},
            {"--json", command.jsonPath},
            {"--pdf", command.pdfPath},
            {"--yaml", command.yamlPath}};
}

/// The mistake in the command itself; empty if there is none.
std::string mistakeIn(const ReportCommand& command)
{
    if (command.recordings.empty()) {
        return "report: names no recording";
    }
    if (!command.yamlPath.empty() && command.recordings.size() > 1) {
        return "report: --yaml takes one recording, not " +
               std::to_string(command.recordings.size());
    }
    const std::vector<Output> outputs = outputsOf(command);
    for (const Output& output : outputs) {
        for (const Output& other : outputs) {
            if (&other != &output && !output.path.empty() && !other.path.empty() &&
                placeOf(output) == placeOf(other)) {
                return "report: " + std::string(output.option) + " and " + other.option +
                       " name the same file: " + output.path;
            }
        }
    }
    return {};
}

/// The first reason why an output can't be written; empty if there is none.
std::string problemWithOutputs(const ReportCommand& command)
{
    for (const Output& output : outputsOf(command)) {
        std::string problem =
            output.path.empty() ? std::string() : problemWith(output, command.recordings);
        if (!problem.empty()) {
            return problem;
        }
    }
    return {};
}

/// The reports of all recordings. If one can't be read, reports the error and returns none.
std::optional<std::vector<report::RecordingReport>> analyseAll(const ReportCommand& command)
{
    std::vector<report::RecordingReport> reports;
    for (const std::string& path : command.recordings) {
        std::string error;
        const auto recording = analysis::readRecording(path, error);
        if (!recording) {
            terminal::printError(error);
            return std::nullopt;
        }
        reports.push_back(report::analyse(*recording, command.options));
        reports.back().path = terminal::printable(path);
    }
    return reports;
}

/// The numbers at the axes with a point, whatever the user's language: as all others in the report.
class PlainNumbers
{
public:
    PlainNumbers() { QLocale::setDefault(QLocale::c()); }
    ~PlainNumbers() { QLocale::setDefault(m_before); }
    PlainNumbers(const PlainNumbers&) = delete;
    PlainNumbers& operator=(const PlainNumbers&) = delete;

private:
    const QLocale m_before;
};

/// Writes page and PDF.
bool writeDrawn(const ReportCommand& command, const std::vector<report::RecordingReport>& reports)
{
    const auto application = drawingApplication();
    const PlainNumbers numbers;
    std::vector<std::vector<report::Topic>> topics;
    topics.reserve(reports.size());
    for (const report::RecordingReport& report : reports) {
        topics.push_back(report::topicsOf(report));
    }
    if (reports.size() > 1) {
        report::alignAxes(topics);
    }
    if (!command.htmlPath.empty() && !write(command.htmlPath, report::pageOf(reports, topics))) {
        return false;
    }
    return command.pdfPath.empty() || write(command.pdfPath, report::pdfOf(reports, topics));
}

/// Writes all outputs that the command names. At the first failure reports the error and returns
/// false.
bool writeOutputs(const ReportCommand& command, const std::vector<report::RecordingReport>& reports)
{
    if (!command.jsonPath.empty() &&
        !write(command.jsonPath, QByteArray::fromStdString(report::jsonText(reports)))) {
        return false;
    }
    if (!command.yamlPath.empty() &&
        !write(command.yamlPath, QByteArray::fromStdString(report::yamlText(reports.front())))) {
        return false;
    }
    return (command.htmlPath.empty() && command.pdfPath.empty()) || writeDrawn(command, reports);
}

} // namespace

int runReport(const ReportCommand& command)
{
    ignoreSignalsOfWriting();
    if (const std::string mistake = mistakeIn(command); !mistake.empty()) {
        terminal::printError(mistake);
        return WRONG_USAGE;
    }
    if (const std::string problem = problemWithOutputs(command); !problem.empty()) {
        terminal::printError(problem);
        return NOT_DONE;
    }
    const auto reports = analyseAll(command);
    if (!reports || !writeOutputs(command, *reports)) {
        return NOT_DONE;
    }
    bool failed = false;
    for (const report::RecordingReport& report : *reports) {
        print(report);
        failed = failed || report.overall() == report::STATE::FAILED;
    }
    if (!std::cout.flush()) {
        terminal::printError("the verdicts cannot be written to standard output");
        return NOT_DONE;
    }
    return failed ? INCOMPLETE : DONE;
}

} // namespace samplelog

// Recorded files: arbitrary bytes are refused with one line, or they are a file that can be written
// again byte for byte and opens as a camera.

#include "fuzz/require.h"

#include "replay/recorded_file.h"

#include <om_tiv/camera.h>

#include <fstream>
#include <iterator>

#include <sys/mman.h>
#include <unistd.h>

using namespace om;
using namespace om::bench;
using fuzz::require;

namespace {

/// The same memory file for all inputs: readRecordedFile() takes a path.
class MemoryFile
{
public:
    MemoryFile() : m_fd(::memfd_create("recorded", MFD_CLOEXEC))
    {
        require(m_fd >= 0, "a file in memory");
    }
    ~MemoryFile() { ::close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    void put(const std::uint8_t* data, std::size_t size) const
    {
        require(::ftruncate(m_fd, 0) == 0 &&
                    ::pwrite(m_fd, data, size, 0) == static_cast<ssize_t>(size),
                "a file in memory takes the input");
    }
    std::string path() const { return "/proc/self/fd/" + std::to_string(m_fd); }

private:
    int m_fd;
};

void checkWrittenAgain(const RecordedFile& recording, const std::uint8_t* data, std::size_t size)
{
    static const std::string path =
        fuzz::memoryFolder() + "/gravimon-fuzz-" + std::to_string(::getpid()) + ".qvr";
    std::string error;
    require(writeRecordedFile(path, recording, error), error);
    std::ifstream file(path, std::ios::binary);
    const std::string again((std::istreambuf_iterator<char>(file)),
                            std::istreambuf_iterator<char>());
    ::unlink(path.c_str());
    require(again == std::string(reinterpret_cast<const char*>(data), size),
            "a file that is read is written again as it was");
}

void checkOpens(const std::string& path, const RecordedFile& recording)
{
    InitParameters parameters;
    parameters.input.setFromQVRFile(path.c_str());
    Camera camera;
    require(camera.open(parameters) == ERROR_CODE::SUCCESS, "a sound file opens");
    const auto frames = static_cast<int>(recording.frameTimes.size());
    require(camera.getQVRNumberOfFrames() == frames, "with its length");
    require(camera.getInitParameters().fps >= 1, "at a pace");
    for (int i = 0; i < 3; ++i) {
        require(camera.grab(RuntimeParameters()) == ERROR_CODE::SUCCESS, "frames come");
        require(camera.getQVRPosition() == std::min(i, frames - 1), "one after the other");
        require(camera.getTimestamp(TIME_REFERENCE::IMAGE) ==
                    recording.frameTimes[static_cast<std::size_t>(std::min(i, frames - 1))],
                "each with its time");
    }
    camera.setQVRPosition(INT32_MAX);
    camera.grab(RuntimeParameters());
    require(camera.getQVRPosition() == frames - 1, "a position is clamped to the file");
    SensorsData sensors;
    require(camera.getSensorsData(sensors, TIME_REFERENCE::IMAGE) != ERROR_CODE::SUCCESS,
            "a file has no sensors");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const MemoryFile file;
    file.put(data, size);
    RecordedFile recording;
    recording.serialNumber = 4711;
    std::string error;
    if (!readRecordedFile(file.path(), recording, error)) {
        fuzz::requireOneLine(error);
        require(error.rfind(file.path() + ": byte ", 0) == 0,
                "the error names the place: " + error);
        require(recording.serialNumber == 4711, "a mistake leaves the recording as it was");
        return 0;
    }
    checkWrittenAgain(recording, data, size);
    checkOpens(file.path(), recording);
    return 0;
}

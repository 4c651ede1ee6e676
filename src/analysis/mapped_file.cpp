#include "analysis/mapped_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>

namespace analysis {

/// The memory of one file, in the list of those that its thread has mapped.
class MappedFile::Mapping
{
public:
    Mapping(char* begin, std::size_t size, int file)
        : m_begin(begin), m_size(size), m_file(file), m_next(newest)
    {
        [[maybe_unused]] static const bool installed = installHandler();
        newest = this;
    }
    ~Mapping()
    {
        Mapping** place = &newest;
        while (*place != this) {
            place = &(*place)->m_next;
        }
        *place = m_next;
        ::munmap(m_begin, m_size);
        ::close(m_file);
    }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    char* begin() const { return m_begin; }
    std::size_t size() const { return m_size; }
    int file() const { return m_file; }
    bool hasLostPages() const { return m_hasLostPages != 0; }

private:
    static bool installHandler()
    {
        struct sigaction action = {};
        action.sa_sigaction = replaceLostPages;
        action.sa_flags = SA_SIGINFO;
        return ::sigaction(SIGBUS, &action, &before) == 0;
    }

    /// The signal arrives on the thread whose access failed, so that its list does not change.
    static void replaceLostPages(int number, siginfo_t* about, void* /*context*/)
    {
        const auto* const place = static_cast<const char*>(about->si_addr);
        for (Mapping* each = newest; about->si_code > 0 && each != nullptr; each = each->m_next) {
            if (place >= each->m_begin && place < each->m_begin + each->m_size &&
                ::mmap(each->m_begin, each->m_size, PROT_READ,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
                each->m_hasLostPages = 1;
                return; // the access is repeated, and reads zeros
            }
        }
        ::sigaction(number, &before, nullptr);
        ::raise(number);
    }

    static thread_local Mapping* newest;
    static struct sigaction before; ///< of SIGBUS

    char* const m_begin;
    const std::size_t m_size;
    const int m_file;
    Mapping* m_next;
    volatile std::sig_atomic_t m_hasLostPages = 0;
};

thread_local MappedFile::Mapping* MappedFile::Mapping::newest = nullptr;
struct sigaction MappedFile::Mapping::before = {};

MappedFile::MappedFile(const std::string& path, std::string& error) : m_path(path)
{
    // Without O_NONBLOCK the open of a FIFO would wait before it can be refused.
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        error = path + ": cannot be read: " + std::generic_category().message(errno);
        return;
    }
    struct stat about = {};
    if (::fstat(file, &about) != 0 || !S_ISREG(about.st_mode)) {
        error = path + ": is not a regular file";
    } else if (about.st_size == 0) {
        error = path + ": is empty";
    } else {
        const auto size = static_cast<std::size_t>(about.st_size);
        void* const data = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file, 0);
        if (data != MAP_FAILED) {
            ::madvise(data, size, MADV_SEQUENTIAL);
            m_mapping = std::make_unique<Mapping>(static_cast<char*>(data), size, file);
            return;
        }
        error = path + ": cannot be mapped into memory: " + std::generic_category().message(errno);
    }
    ::close(file);
}

MappedFile::~MappedFile() = default;

const char* MappedFile::begin() const
{
    return m_mapping->begin();
}

const char* MappedFile::end() const
{
    return m_mapping->begin() + m_mapping->size();
}

void MappedFile::release(double share)
{
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const auto read = static_cast<std::size_t>(share * static_cast<double>(m_mapping->size()));
    const std::size_t pages = read / page > 0 ? (read / page - 1) * page : 0;
    const std::size_t from = pages > m_released ? m_released : 0;
    if (pages > from) {
        ::madvise(m_mapping->begin() + from, pages - from, MADV_DONTNEED);
    }
    m_released = pages;
}

std::string MappedFile::lossUntilNow() const
{
    struct stat about = {};
    const int failed = ::fstat(m_mapping->file(), &about) == 0 ? 0 : errno;
    if (failed == 0 && static_cast<std::size_t>(about.st_size) < m_mapping->size()) {
        return m_path + ": was cut short while it was read: wait until nobody writes it";
    }
    if (failed != 0 || m_mapping->hasLostPages()) {
        return m_path +
               ": cannot be read: " + std::generic_category().message(failed != 0 ? failed : EIO);
    }
    return {};
}

bool MappedFile::remainedWhole(std::string& error)
{
    if (m_loss.empty()) {
        m_loss = lossUntilNow();
    }
    if (!m_loss.empty()) {
        error = m_loss;
    }
    return m_loss.empty();
}

} // namespace analysis

#include "api/text/output_file.h"

#include "api/text/errors.h"

#include <fmt/format.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace optdoe {

namespace {

/// Holds INT and TERM back while a temporary file exists.
class signals_held {
public:
    signals_held()
    {
        sigset_t both;
        sigemptyset(&both);
        sigaddset(&both, SIGINT);
        sigaddset(&both, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &both, &before_);
    }
    ~signals_held() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    signals_held(const signals_held&) = delete;
    signals_held& operator=(const signals_held&) = delete;

private:
    sigset_t before_{};
};

[[noreturn]] void fail(const std::string& file, int error)
{
    const std::string name = file == "-" ? "standard output" : file;
    throw input_error(error == EPIPE
                          ? fmt::format("{}: the reader closed the pipe before everything was written", name)
                          : fmt::format("{}: cannot be written: {}", name, std::strerror(error)));
}

/// Returns 0 or the error number.
int write_all(int descriptor, std::string_view content)
{
    while (!content.empty()) {
        const ssize_t written = write(descriptor, content.data(), content.size());
        if (written < 0 && errno != EINTR)
            return errno;
        content.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
    }
    return 0;
}

/// The file that a symbolic link names, so that the link itself survives.
std::string link_target(const std::string& file)
{
    char* resolved = realpath(file.c_str(), nullptr);
    if (resolved == nullptr)
        return file;
    std::string target = resolved;
    free(resolved);
    return target;
}

} // namespace

std::string temporary_beside(const std::string& file)
{
    struct stat status {};
    if (stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        throw input_error(fmt::format("{}: is not a regular file, which it would be replaced by", file));
    return fmt::format("{}.{}.part", link_target(file), gettid()); // of a thread: others may write at the same time
}

void commit_temporary(const std::string& temporary, const std::string& file)
{
    if (rename(temporary.c_str(), link_target(file).c_str()) != 0) {
        const int error = errno;
        unlink(temporary.c_str());
        fail(file, error);
    }
}

void refuse_unwritable(const std::string& file)
{
    struct stat status {};
    if (file == "-")
        return;
    if (stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        if (S_ISDIR(status.st_mode) || access(file.c_str(), W_OK) != 0)
            fail(file, S_ISDIR(status.st_mode) ? EISDIR : errno);
        return;
    }
    const std::size_t slash = file.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : file.substr(0, slash + 1);
    if (access(folder.c_str(), W_OK | X_OK) != 0)
        fail(file, errno);
}

void write_output(const std::string& file, std::string_view content)
{
    struct stat status {};
    const bool exists = file != "-" && stat(file.c_str(), &status) == 0;
    if (file == "-" || (exists && !S_ISREG(status.st_mode))) {
        const int descriptor = file == "-" ? STDOUT_FILENO : open(file.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor < 0)
            fail(file, errno);
        const int error = write_all(descriptor, content);
        const int close_error = file != "-" && close(descriptor) != 0 ? errno : 0;
        if (error != 0 || close_error != 0)
            fail(file, error != 0 ? error : close_error);
        return;
    }
    const signals_held hold;
    const std::string temporary = temporary_beside(file);
    const int descriptor = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor < 0)
        fail(file, errno);
    if (exists)
        fchmod(descriptor, status.st_mode & 07777);
    int error = write_all(descriptor, content);
    if (error == 0 && fsync(descriptor) != 0 && errno != EINVAL)
        error = errno;
    if (close(descriptor) != 0 && error == 0)
        error = errno;
    if (error != 0) {
        unlink(temporary.c_str());
        fail(file, error);
    }
    commit_temporary(temporary, file);
}

} // namespace optdoe

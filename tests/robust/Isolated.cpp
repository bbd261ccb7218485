#include "Isolated.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>

#if defined(__SANITIZE_ADDRESS__)
#define ORCADX_LEAK_CHECK 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORCADX_LEAK_CHECK 1
#endif
#endif
#ifdef ORCADX_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace orcadx::test {

namespace {

// A field of /proc/self/status in bytes ("VmHWM", "VmRSS", "VmSize"), 0 when unknown.
uint64_t StatusBytes(const std::string& field) {
    std::ifstream in("/proc/self/status");
    std::string line;
    while (std::getline(in, line))
        if (line.compare(0, field.size() + 1, field + ":") == 0) return std::stoull(line.substr(field.size() + 1)) * 1024;
    return 0;
}

void WriteAll(int fd, const void* data, size_t size) {
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        ssize_t n = write(fd, p, size);
        if (n <= 0) return;
        p += n;
        size -= static_cast<size_t>(n);
    }
}

// The reply of a child: a kind, then the text.
[[noreturn]] void ChildMain(int fd, const std::function<std::string()>& work, const Bounds& bounds) {
    if (bounds.addressSpace) {
        rlimit limit{};
        limit.rlim_cur = limit.rlim_max = StatusBytes("VmSize") + bounds.addressSpace;
        setrlimit(RLIMIT_AS, &limit);
    }
    int32_t kind = BoundedResult::Returned;
    std::string text;
    try {
        text = work();
    } catch (const std::exception& e) {
        kind = BoundedResult::Threw;
        text = e.what();
    } catch (...) {
        kind = BoundedResult::Threw;
        text = "an exception of unknown type";
    }
    WriteAll(fd, &kind, sizeof kind);
    WriteAll(fd, text.data(), text.size());
    close(fd);
    _exit(0);
}

template <class T>
void Put(std::string& out, const T& value) {
    out.append(reinterpret_cast<const char*>(&value), sizeof value);
}

template <class T>
bool Take(const std::string& in, size_t& at, T& value) {
    if (in.size() < at + sizeof value) return false;
    std::memcpy(&value, in.data() + at, sizeof value);
    at += sizeof value;
    return true;
}

}  // namespace

BoundedResult RunBounded(const std::function<std::string()>& work, const Bounds& bounds) {
    BoundedResult result;
    int fds[2];
    if (pipe(fds) != 0) {
        result.text = "pipe failed";
        return result;
    }
    pid_t pid = fork();
    if (pid < 0) {
        close(fds[0]);
        close(fds[1]);
        result.text = "fork failed";
        return result;
    }
    if (pid == 0) {
        close(fds[0]);
        ChildMain(fds[1], work, bounds);
    }
    close(fds[1]);

    std::string reply;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(bounds.seconds);
    bool timedOut = false;
    for (;;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        pollfd p{fds[0], POLLIN, 0};
        int ready = poll(&p, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) continue;
        char buf[4096];
        ssize_t n = read(fds[0], buf, sizeof buf);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;  // the child closed its end: done or dead
        reply.append(buf, static_cast<size_t>(n));
    }
    close(fds[0]);
    if (timedOut) kill(pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    if (timedOut) {
        result.kind = BoundedResult::TimedOut;
        result.text = "no end within " + std::to_string(bounds.seconds) + " s";
        return result;
    }
    if (WIFSIGNALED(status)) {
        result.text = std::string("killed by signal ") + strsignal(WTERMSIG(status));
        return result;
    }
    int32_t kind = 0;
    size_t at = 0;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || !Take(reply, at, kind)) {
        result.text = "exited with status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : -1) +
                      " (a sanitizer report or an allocation beyond the limit)";
        return result;
    }
    result.kind = static_cast<BoundedResult::Kind>(kind);
    result.text = reply.substr(at);
    return result;
}

std::string Describe(const BoundedResult& r) {
    static const char* names[] = {"returned", "threw", "timed out", "died"};
    return std::string(names[r.kind]) + ": " + r.text;
}

IsolatedResult RunIsolated(const std::function<fuzz::LoadResult()>& load, const Bounds& bounds) {
    // The child sends the load's kind, peak and counts ahead of its message.
    BoundedResult child = RunBounded(
        [&] {
            // Start the peak from what the child holds now, not from the parent's history.
            { std::ofstream("/proc/self/clear_refs") << "5"; }
            uint64_t before = std::max(StatusBytes("VmHWM"), StatusBytes("VmRSS"));
            IsolatedResult::Kind kind;
            std::string message;
            fuzz::LoadResult r;
            try {
                r = load();
                kind = r.loaded ? IsolatedResult::Loaded : IsolatedResult::Refused;
                message = r.message;
            } catch (const std::exception& e) {
                kind = IsolatedResult::Escaped;
                message = std::string("exception escaped: ") + e.what();
            } catch (...) {
                kind = IsolatedResult::Escaped;
                message = "exception of unknown type escaped";
            }
            uint64_t after = StatusBytes("VmHWM");
#ifdef ORCADX_LEAK_CHECK
            // The child leaves by _exit, which skips the sanitizer's own check at exit: what the
            // load left behind unreachable is looked for here (the report goes to stderr).
            if (__lsan_do_recoverable_leak_check() != 0 && kind != IsolatedResult::Escaped) {
                kind = IsolatedResult::Leaked;
                message = "memory leaked (see the sanitizer's report); " + message;
            }
#endif
            std::string out;
            Put(out, static_cast<int32_t>(kind));
            Put(out, after > before ? after - before : uint64_t(0));
            for (int32_t count : {r.components, r.pages, r.views}) Put(out, count);
            return out + message;
        },
        bounds);
    IsolatedResult result;
    if (child.kind != BoundedResult::Returned) {
        result.kind = child.kind == BoundedResult::TimedOut ? IsolatedResult::TimedOut : IsolatedResult::Crashed;
        result.message = child.text;
        return result;
    }
    int32_t kind = 0;
    int32_t counts[3] = {0, 0, 0};
    size_t at = 0;
    if (!Take(child.text, at, kind) || !Take(child.text, at, result.peakBytes) || !Take(child.text, at, counts)) {
        result.message = "the child's reply is cut short";
        return result;
    }
    result.kind = static_cast<IsolatedResult::Kind>(kind);
    result.components = counts[0];
    result.pages = counts[1];
    result.views = counts[2];
    result.message = child.text.substr(at);
    return result;
}

std::string Describe(const IsolatedResult& r) {
    static const char* names[] = {"loaded", "refused", "escaped", "crashed", "timed out", "leaked"};
    std::ostringstream out;
    out << names[r.kind] << ", peak +" << r.peakBytes / 1024 << " KiB";
    if (!r.message.empty()) out << ": " << r.message;
    return out.str();
}

}  // namespace orcadx::test

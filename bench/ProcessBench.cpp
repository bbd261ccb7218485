// Whole processes: `orcadx -q info --pages FILE` beside `orcadx_rawread FILE` (libgsf reading every
// stream once), run in turns on the same files in the same run, each process timed from its start
// to its end: the CPU time it used (user and system, from the kernel) and the wall time. The
// machine is shared, so each figure is the median of many runs, and the minimum stands beside it.
//
//   orcadx_process_bench ORCADX RAWREAD [--runs N] FILE...
#include <sys/resource.h>
#include <sys/wait.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

struct Times {
    std::vector<double> cpu, wall;  // milliseconds
};

// Runs `argv` with its output thrown away; adds its CPU and wall time to `times`.
bool Run(const std::vector<std::string>& argv, Times& times) {
    auto start = std::chrono::steady_clock::now();
    pid_t pid = fork();
    if (pid < 0) return false;
    if (pid == 0) {
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execv(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(pid, &status, 0, &usage) < 0) return false;
    auto end = std::chrono::steady_clock::now();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return false;
    auto ms = [](const timeval& t) { return t.tv_sec * 1e3 + t.tv_usec / 1e3; };
    times.cpu.push_back(ms(usage.ru_utime) + ms(usage.ru_stime));
    times.wall.push_back(std::chrono::duration<double, std::milli>(end - start).count());
    return true;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

double Min(const std::vector<double>& v) { return v.empty() ? 0 : *std::min_element(v.begin(), v.end()); }

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::fprintf(stderr, "usage: orcadx_process_bench ORCADX RAWREAD [--runs N] FILE...\n");
        return 2;
    }
    std::string orcadx = argv[1], rawread = argv[2];
    int runs = 40;
    std::vector<std::string> files;
    for (int i = 3; i < argc; ++i) {
        if (std::string(argv[i]) == "--runs" && i + 1 < argc) runs = std::atoi(argv[++i]);
        else files.push_back(argv[i]);
    }
    std::printf("| File | KiB | info CPU ms (min) | raw read CPU ms (min) | CPU ratio | info wall ms (min) | "
                "raw read wall ms (min) | Wall ratio |\n");
    std::printf("|---|---:|---:|---:|---:|---:|---:|---:|\n");
    int failures = 0;
    for (const auto& file : files) {
        Times info, raw;
        for (int r = 0; r < runs; ++r) {
            // In turns, so that both meet the same load of the machine.
            if (!Run({orcadx, "-q", "info", "--pages", file}, info) || !Run({rawread, file}, raw)) {
                std::fprintf(stderr, "%s: a run failed\n", file.c_str());
                ++failures;
                break;
            }
        }
        std::printf("| %s | %.0f | %.1f (%.1f) | %.1f (%.1f) | %.2f | %.1f (%.1f) | %.1f (%.1f) | %.2f |\n",
                    std::filesystem::path(file).filename().c_str(), std::filesystem::file_size(file) / 1024.0,
                    Median(info.cpu), Min(info.cpu), Median(raw.cpu), Min(raw.cpu),
                    Median(raw.cpu) > 0 ? Median(info.cpu) / Median(raw.cpu) : 0, Median(info.wall), Min(info.wall),
                    Median(raw.wall), Min(raw.wall), Median(raw.wall) > 0 ? Median(info.wall) / Median(raw.wall) : 0);
    }
    std::printf("\nMedians of %d runs of each, in turns; ratios of the medians.\n", runs);
    return failures ? 1 : 0;
}

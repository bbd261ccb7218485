// How a load grows with the size of a file: every family of fuzz/HostileFiles.h (pages,
// components, directory entries, and the odd files of the robustness tests) at N = 1,000, 10,000
// and 100,000 (65,535 for the lists, whose count is a 16-bit word), loaded from disk; the median
// CPU time of a load over 3 repetitions (each as many loads as fit in 0.2 s, at least one), its
// peak memory in a fresh process, and the log-log slope of time against N (1 is linear). The
// machine's load average is printed before and after: on a busy machine the caches are shared.
//
//   orcadx_scale_bench [--dir DIR] [Google Benchmark flags]
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "BenchBasics.h"
#include "dbo/DboDesign.h"
#include "fuzz/HostileFiles.h"

namespace fs = std::filesystem;
using namespace orcadx;
using fuzz::Hostile;

namespace {

struct Case {
    Hostile family;
    int n;
    fs::path file;
    uint64_t size = 0;
    uint64_t peak = 0;
};

std::vector<Case> cases;

// Generated once into `dir` and kept: the files of 100,000 take seconds to make.
fs::path FileFor(const fs::path& dir, Hostile family, int n) {
    fs::path file = dir / ("scale-" + std::to_string(static_cast<int>(family)) + "-" + std::to_string(n) +
                           (family == Hostile::RepeatedPackage || family == Hostile::MissingPackages ? ".OLB" : ".DSN"));
    if (!fs::exists(file)) {
        std::vector<uint8_t> bytes = fuzz::MakeHostileFile(family, n);
        std::ofstream(file, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    return file;
}

bool LoadFile(const fs::path& file) {
    dbo::TDboDesign d(file.string(), nullptr, 0, nullptr);
    try {
        d.Load(false);
        return true;
    } catch (const dbo::Exception&) {
        return false;  // the refused families are timed to their refusal
    }
}

// The growth of the resident set during one load, in a fresh process (this program again).
uint64_t MeasurePeak(const fs::path& file) {
    const std::string command = bench::MeasureCommand(file);
    FILE* p = popen(command.c_str(), "r");
    if (!p) throw std::runtime_error("can't run " + command);
    unsigned long long peak = 0;
    int got = std::fscanf(p, "%llu", &peak);
    if (pclose(p) != 0 || got != 1) throw std::runtime_error("the measuring load failed: " + file.string());
    return peak;
}

void BM_Load(benchmark::State& state, const Case* c) {
    for (auto _ : state) benchmark::DoNotOptimize(LoadFile(c->file));
    state.counters["N"] = c->n;
    state.counters["peak_MiB"] = static_cast<double>(c->peak) / (1 << 20);
}

// What any load of the file costs at least: its bytes read into a buffer of their own, as the
// load reads them, and as much fresh memory as the load's peak written once per cache line. A
// slope above 1 here is the machine's (caches, page faults), not the load's.
void BM_Floor(benchmark::State& state, const Case* c) {
    for (auto _ : state) {
        std::ifstream in(c->file, std::ios::binary);
        std::unique_ptr<char[]> bytes(new char[c->size]);
        in.read(bytes.get(), static_cast<std::streamsize>(c->size));
        std::unique_ptr<char[]> memory(new char[c->peak + 1]);
        for (uint64_t at = 0; at < c->peak; at += 64) memory[at] = static_cast<char>(at);
        benchmark::DoNotOptimize(bytes.get());
        benchmark::DoNotOptimize(memory.get());
    }
}

class TableReporter : public benchmark::ConsoleReporter {
public:
    TableReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& r : runs)
            if (r.run_type == Run::RT_Iteration && !r.error_occurred) {
                wall_[r.run_name.function_name].push_back(r.real_accumulated_time / static_cast<double>(r.iterations));
                cpu_[r.run_name.function_name].push_back(r.cpu_accumulated_time / static_cast<double>(r.iterations));
            }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        // The slopes are taken on CPU time: on a shared machine the wall time of a load also holds the
        // time it waited for a processor.
        std::printf("\nLoad average before: %s, after: %s\n", loadBefore.c_str(), LoadAverage().c_str());
        std::printf("\n| File | N | Size MiB | Load CPU ms | Spread | Load wall ms | Peak MiB | Slope | Floor CPU ms | Floor slope |\n");
        std::printf("|---|---:|---:|---:|---:|---:|---:|---:|---:|---:|\n");
        struct Point {
            int n;
            double load, floor;
        };
        std::map<Hostile, Point> first, previous;
        auto slope = [](const Point& a, const Point& b, double Point::*t) {
            return Fixed(std::log(b.*t / a.*t) / std::log(double(b.n) / a.n));
        };
        for (const Case& c : cases) {
            if (!cpu_.count(Name(c)) || !cpu_.count(Name(c, "Floor"))) continue;
            const auto& all = cpu_[Name(c)];
            const Point p{c.n, Median(all), Median(cpu_[Name(c, "Floor")])};
            const double spread = (*std::max_element(all.begin(), all.end()) - *std::min_element(all.begin(), all.end())) / p.load;
            std::string loadSlope, floorSlope;
            if (previous.count(c.family)) {
                loadSlope = slope(previous[c.family], p, &Point::load);
                floorSlope = slope(previous[c.family], p, &Point::floor);
            } else {
                first[c.family] = p;
            }
            previous[c.family] = p;
            std::printf("| %s | %d | %.1f | %.2f | %.0f %% | %.1f | %.1f | %s | %.2f | %s |\n", fuzz::HostileName(c.family),
                        c.n, c.size / 1048576.0, p.load * 1e3, spread * 100, Median(wall_[Name(c)]) * 1e3,
                        c.peak / 1048576.0, loadSlope.c_str(), p.floor * 1e3, floorSlope.c_str());
        }
        std::printf("\nSlope: from the row above. Spread: (slowest - fastest) / median of the repetitions. Floor: the\n"
                    "file read into a buffer and as much fresh memory as the load's peak written once per cache line.\n");
        std::printf("\nLog-log slope of CPU time from the smallest to the largest N (1.00 is linear), load and floor:\n");
        for (const auto& [family, start] : first) {
            const auto& last = previous[family];
            if (last.n == start.n) continue;
            std::printf("- %s, N %d to %d: %s, floor %s\n", fuzz::HostileName(family), start.n, last.n,
                        slope(start, last, &Point::load).c_str(), slope(start, last, &Point::floor).c_str());
        }
    }

    static std::string Name(const Case& c, const char* kind = "Load") {
        return std::string(kind) + "/" + fuzz::HostileName(c.family) + "/" + std::to_string(c.n);
    }

    static std::string LoadAverage() {
        std::ifstream in("/proc/loadavg");
        double one = 0, five = 0, fifteen = 0;
        in >> one >> five >> fifteen;
        char buf[64];
        std::snprintf(buf, sizeof buf, "%.2f, %.2f, %.2f", one, five, fifteen);
        return buf;
    }
    std::string loadBefore = LoadAverage();

private:
    static double Median(std::vector<double> v) {
        std::sort(v.begin(), v.end());
        return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
    }
    static std::string Fixed(double v) {
        char buf[32];
        std::snprintf(buf, sizeof buf, "%.2f", v);
        return buf;
    }
    std::map<std::string, std::vector<double>> wall_, cpu_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--measure") {
        uint64_t before = bench::StatusKiB("VmRSS") * 1024;
        LoadFile(argv[2]);
        uint64_t peak = bench::StatusKiB("VmHWM") * 1024;
        std::printf("%llu\n", static_cast<unsigned long long>(peak > before ? peak - before : 0));
        return 0;
    }
    // Beside the program by default: a fixed folder of /tmp would be shared with other users.
    std::vector<char*> args;
    const fs::path dir =
        bench::PathOption(argc, argv, args, "--dir", fs::read_symlink("/proc/self/exe").parent_path() / "scale-files");
    benchmark::Initialize(&argc, args.data());
    fs::create_directories(dir);

    for (int f = 0; f < static_cast<int>(Hostile::Count); ++f) {
        const auto family = static_cast<Hostile>(f);
        for (int size : {1000, 10000, 100000}) cases.push_back({family, std::min(size, fuzz::HostileLimit(family)), {}});
    }
    for (Case& c : cases) {
        std::fprintf(stderr, "preparing %s, N = %d\n", fuzz::HostileName(c.family), c.n);
        c.file = FileFor(dir, c.family, c.n);
        c.size = fs::file_size(c.file);
        c.peak = MeasurePeak(c.file);
        benchmark::RegisterBenchmark(TableReporter::Name(c).c_str(), BM_Load, &c)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.2)
            ->Repetitions(3);
        benchmark::RegisterBenchmark(TableReporter::Name(c, "Floor").c_str(), BM_Floor, &c)
            ->Unit(benchmark::kMillisecond)
            ->MinTime(0.2)
            ->Repetitions(3);
    }
    TableReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}

// vexobench SCRATCH [REGEX]: prints each figure beside its raw limit, and their ratio beside the
// aim. Runs in the namespace box; SCRATCH is a folder on a real disk.

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <regex>

#include "ratio.h"

namespace vexobench {
namespace {

std::string scratch;

void Print(const Figure& figure, const Measurement& m) {
    const double ratio = m.ours / m.raw;
    const bool isWithin = ratio <= figure.aim && m.ours <= figure.most;
    std::printf("%-34s %10.1f %10.1f %-4s %6.2f  <= %.1f  %s\n", figure.name.c_str(), m.ours, m.raw,
                m.unit.c_str(), ratio, figure.aim, isWithin ? "ok" : "MISSED");
    std::printf("    raw: %s%s%s\n", figure.raw.c_str(), m.note.empty() ? "" : "\n    ",
                m.note.c_str());
    std::fflush(stdout);
}

}  // namespace

const std::string& Scratch() {
    return scratch;
}

double Seconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

Measurement Alternate(int rounds, const std::function<void()>& ours,
                      const std::function<void()>& raw, const std::function<void()>& prepare) {
    std::vector<double> oursTimes;
    std::vector<double> rawTimes;
    for (int round = 0; round < rounds; ++round) {
        prepare();
        oursTimes.push_back(Seconds(ours) * 1e6);
        prepare();
        rawTimes.push_back(Seconds(raw) * 1e6);
    }
    return {Median(oursTimes), Median(rawTimes), "us"};
}

}  // namespace vexobench

int main(int argc, char** argv) {
    using namespace vexobench;
    testing::InitGoogleTest(&argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: vexobench SCRATCH [REGEX]; see ./run bench\n");
        return 2;
    }
    scratch = argv[1];
    const std::regex wanted(argc > 2 ? argv[2] : ".*");
    std::printf("%-34s %10s %10s %-4s %6s  %s\n", "figure", "ours", "raw", "", "ratio", "aim");
    for (const auto& room :
         {FileFigures, RouteFigures, BusFigures, GatewayFigures, DaemonFigures, LinkFigures,
          EventCostFigures, RouterFigures, DeviceFigures, PolicyFigures}) {
        for (const Figure& figure : room()) {
            if (std::regex_search(figure.name, wanted)) {
                if (::isatty(STDERR_FILENO)) {
                    std::fprintf(stderr, "measuring %s...\r", figure.name.c_str());
                }
                Print(figure, figure.measure());
            }
        }
    }
    return 0;
}

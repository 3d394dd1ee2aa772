#include "ratio.h"
#include "support/appliance.h"
#include "usage.h"

namespace vexobench {
namespace {

constexpr int kStarts = 40;

std::string EmptyProgram() {
    return VEXO_BIN_DIR "/vexobench-empty";
}

double PssOf(const vexotest::Arguments& program) {
    vexotest::Appliance appliance;
    appliance.StartDaemon(program);
    return Pss(appliance.Daemon().Pid());
}

Measurement Memory() {
    return {PssOf({vexotest::DaemonProgram()}), PssOf({EmptyProgram()}), "KiB"};
}

double StartTime(vexotest::Appliance& appliance, const vexotest::Arguments& program) {
    const double seconds = Seconds([&] { appliance.StartDaemon(program); });
    appliance.StopDaemon();
    return seconds * 1e6;
}

Measurement Start() {
    vexotest::Appliance appliance;
    std::vector<double> ours;
    std::vector<double> raw;
    for (int i = 0; i < kStarts; ++i) {
        ours.push_back(StartTime(appliance, {vexotest::DaemonProgram()}));
        raw.push_back(StartTime(appliance, {EmptyProgram()}));
    }
    return {Median(ours), Median(raw), "us"};
}

}  // namespace

std::vector<Figure> DaemonFigures() {
    const std::string raw = "an empty program with the same libraries on the same bus";
    return {{"idle daemon, memory (PSS)", raw, 1.5, Memory},
            {"start to owned bus name", raw, 1.5, Start}};
}

}  // namespace vexobench

#pragma once

#include <functional>
#include <limits>
#include <string>
#include <vector>

namespace vexobench {

/// One figure beside its raw limit, both as medians of the same run.
struct Measurement {
    double ours;
    double raw;
    std::string unit;
    std::string note = {};  ///< what else is worth knowing, printed below
};

/// A figure that a user of the system would ask for.
struct Figure {
    std::string name;  ///< also what the command line's expression is matched with
    std::string raw;   ///< what the raw limit does
    double aim;        ///< the ratio that we want to stay within
    std::function<Measurement()> measure;
    double most = std::numeric_limits<double>::infinity();  ///< ours, however slow the raw limit is
};

/// Seconds that one call takes.
double Seconds(const std::function<void()>& work);

double Median(std::vector<double> values);

/// Times `ours` and `raw` in turns, so that a busy moment of the machine hits both alike.
/// @param prepare  runs untimed before each of them
/// @return medians in microseconds
Measurement Alternate(
    int rounds, const std::function<void()>& ours, const std::function<void()>& raw,
    const std::function<void()>& prepare = [] {});

/// What the benches measure in; a folder on a real disk.
const std::string& Scratch();

std::vector<Figure> BusFigures();
std::vector<Figure> DaemonFigures();
std::vector<Figure> DeviceFigures();
std::vector<Figure> EventCostFigures();
std::vector<Figure> FileFigures();
std::vector<Figure> GatewayFigures();
std::vector<Figure> LinkFigures();
std::vector<Figure> PolicyFigures();
std::vector<Figure> RouteFigures();
std::vector<Figure> RouterFigures();

}  // namespace vexobench

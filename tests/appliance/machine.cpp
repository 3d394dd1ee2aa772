#include "machine.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>

#include "support/appliance.h"
#include "support/files.h"

namespace vexotest {
namespace {

using std::chrono::steady_clock;

constexpr char kMachine[] = VEXO_SOURCE_DIR "/appliance/box/machine";
constexpr char kLog[] = "/tmp/machine.log";

/// As the test sees it; 0 when the machine is off.
pid_t FirstProcess() {
    return std::atoi(ReadFile("/sys/fs/cgroup/machine/init.scope/cgroup.procs").c_str());
}

}  // namespace

Machine::Machine() {
    Must(std::string(kMachine) + " install " VEXO_BINARY_DIR);
}

Machine::~Machine() {
    if (testing::Test::HasFailure() && FirstProcess() != 0) {
        ADD_FAILURE() << Try("journalctl --no-pager --lines=60").out;
    }
}

void Machine::Boot() {
    systemd = Process({kMachine, "boot"}, kLog);
    AwaitBoot();
}

void Machine::Reboot() {
    const pid_t former = FirstProcess();
    Do("systemctl reboot");
    EXPECT_TRUE(Eventually([&] { return FirstProcess() != 0 && FirstProcess() != former; }));
    AwaitBoot();
}

void Machine::CutPowerAndBoot() {
    ::kill(FirstProcess(), SIGKILL);
    EXPECT_NE(systemd.Wait(), -1);
    EXPECT_EQ(FirstProcess(), 0);
    Boot();
}

Outcome Machine::Try(const std::string& commandLine) const {
    Arguments command = Words(commandLine);
    command.insert(command.begin(), {kMachine, "enter"});
    return Run(command);
}

std::string Machine::Do(const std::string& commandLine) const {
    Outcome outcome = Try(commandLine);
    EXPECT_EQ(outcome.status, 0) << commandLine << "\n" << outcome.out << outcome.err;
    return outcome.out.substr(0, outcome.out.find_last_not_of('\n') + 1);
}

std::string Machine::PidOf(const std::string& service) const {
    return Do("systemctl show --value --property MainPID " + service);
}

Milliseconds Machine::AwaitDaemonOtherThan(const std::string& former) const {
    const auto start = steady_clock::now();
    EXPECT_TRUE(Eventually([&] {
        return PidOf("vexonetd") != former && Try("systemctl is-active vexonetd").status == 0
               && Try("vexonetctl status").status == 0;
    }));
    return std::chrono::duration_cast<Milliseconds>(steady_clock::now() - start);
}

void Machine::AwaitBoot() {
    const Outcome booted = Run({kMachine, "wait"});
    EXPECT_EQ(booted.status, 0) << booted.err << ReadFile(kLog);
}

}  // namespace vexotest

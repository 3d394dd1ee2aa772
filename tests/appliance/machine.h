#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <string>

#include "support/appliance.h"

namespace vexotest {

/// The appliance as a machine: the product installed, systemd as its first process. Its network is
/// the test's own, and so are its files, but for /run, /tmp and /dev.
class Machine {
  public:
    /// Installs; nothing runs yet.
    Machine() { EXPECT_EQ(Run({kProgram, "install", VEXO_BINARY_DIR}).status, 0); }
    ~Machine() {
        if (testing::Test::HasFailure() && FirstProcess() != 0) {
            ADD_FAILURE() << Try("journalctl --lines=60").out;
        }
    }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    /// Boots and waits until every unit has started; a failed unit fails the test.
    void Boot() {
        systemd = Process({kProgram, "boot"}, kLog);
        AwaitBoot();
    }

    void Reboot() {
        const pid_t former = FirstProcess();
        Do("systemctl reboot");
        EXPECT_TRUE(Eventually([&] { return FirstProcess() != 0 && FirstProcess() != former; }));
        AwaitBoot();
    }

    void CutPowerAndBoot() {
        ::kill(FirstProcess(), SIGKILL);
        EXPECT_NE(systemd.Wait(), -1);
        EXPECT_EQ(FirstProcess(), 0);
        Boot();
    }

    /// Runs a command inside, split at blanks.
    Outcome Try(const std::string& commandLine) const {
        Arguments command = Words(commandLine);
        command.insert(command.begin(), {kProgram, "enter"});
        return Run(command);
    }

    /// The same for a command that must succeed. @return its output without the last newline
    std::string Do(const std::string& commandLine) const {
        const Outcome outcome = Try(commandLine);
        EXPECT_EQ(outcome.status, 0) << commandLine << "\n" << outcome.out << outcome.err;
        return outcome.out.substr(0, outcome.out.find_last_not_of('\n') + 1);
    }

    /// Process id of a service, as seen inside; "0" when it does not run.
    std::string PidOf(const std::string& service) const {
        return Do("systemctl show --value --property MainPID " + service);
    }

  private:
    static constexpr char kProgram[] = VEXO_SOURCE_DIR "/appliance/box/machine";
    static constexpr char kLog[] = "/tmp/machine.log";

    /// As the test sees it; 0 when the machine is off.
    static pid_t FirstProcess() {
        return std::atoi(ReadFile("/sys/fs/cgroup/machine/init.scope/cgroup.procs").c_str());
    }

    static void AwaitBoot() {
        const Outcome booted = Run({kProgram, "wait"});
        EXPECT_EQ(booted.status, 0) << booted.err << ReadFile(kLog);
    }

    Process systemd;
};

}  // namespace vexotest

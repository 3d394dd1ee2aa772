// Who reaches the bus of an appliance as delivered, and what nobody can take from the others.

#include <gmock/gmock.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstring>
#include <tuple>

#include "machine.h"

namespace vexotest {
namespace {

using namespace testing;

class BusAccess : public testing::Test {
  protected:
    void SetUp() override {
        machine.Boot();
        Must("useradd --groups vexonet member");
        Must("useradd stranger");
    }

    /// What a user is told who calls a method.
    std::string Complaint(const std::string& user, const std::string& method) const {
        return machine
            .Try("runuser -u " + user + " -- busctl --address=unix:path=/run/vexonet/bus call "
                 + "com.vexo.network / com.vexo.network " + method + " s {}")
            .err;
    }

    /// A connection from outside of the machine that says nothing.
    static vexobase::UniqueFd ConnectSilently() {
        sockaddr_un name{AF_UNIX, ""};
        const std::string pid = ReadFile("/sys/fs/cgroup/machine/init.scope/cgroup.procs");
        std::strcpy(name.sun_path, ("/proc/" + std::to_string(std::stoi(pid))  //
                                    + "/root/run/vexonet/bus")
                                       .c_str());
        vexobase::UniqueFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_EQ(::connect(fd.Get(), reinterpret_cast<sockaddr*>(&name), sizeof name), 0);
        return fd;
    }

    Machine machine;
};

TEST_F(BusAccess, MembersReadRootChangesAndNobodyElseConnects) {
    EXPECT_EQ(machine.Do("stat --format=%U:%G:%a /run/vexonet/bus"), "root:vexonet:660");
    constexpr char kRefused[] = "Access denied";
    for (const char* getter :
         {"GetDeviceListData", "GetGatewayListData", "GetGatewayDataByInterface"}) {
        EXPECT_THAT(Complaint("member", getter), Not(HasSubstr(kRefused))) << getter;
    }
    for (const char* setter :
         {"SetDeviceListData", "DelDeviceListData", "AddGatewayData", "DelGatewayData",
          "SetSlaveData", "CopyGatewayData", "RefreshGateway", "ResetIPv6Module"}) {
        EXPECT_THAT(Complaint("member", setter), HasSubstr(kRefused)) << setter;
    }
    EXPECT_THAT(Complaint("stranger", "GetGatewayListData"), HasSubstr("Permission denied"));

    for (const auto& [call, status, complaint] :
         {std::tuple{"root -- vexonetctl gateway add lo --gateway 192.0.2.1", 0, ""},
          {"member -- vexonetctl gateway list", 0, ""},
          {"member -- vexonetctl gateway refresh", 1, "only root may change\n"},
          {"stranger -- vexonetctl gateway list", 3, "be root or in group vexonet"},
          {"stranger -- vexonetctl gateway refresh", 3, "be root or in group vexonet"}}) {
        const Outcome outcome = machine.Try(std::string("runuser -u ") + call);
        EXPECT_EQ(outcome.status, status) << call;
        EXPECT_THAT(outcome.err, HasSubstr(complaint)) << call;
    }
}

TEST_F(BusAccess, ConnectionsThatKeepSilentKeepNobodyOff) {
    std::vector<vexobase::UniqueFd> silent;
    for (int i = 0; i < 300; ++i) {
        silent.push_back(ConnectSilently());
    }
    machine.Do("vexonetctl gateway list");
    // Nor do they keep their places: the bus closes them.
    pollfd closed{silent.front().Get(), POLLIN, 0};
    EXPECT_EQ(::poll(&closed, 1, 60'000), 1);
}

TEST(Units, AreBoundedEachOfThem) {
    const Machine machine;
    for (const std::string bound : {"LimitNOFILE", "MemoryMax", "TasksMax"}) {
        EXPECT_EQ(Must({"sh", "-c",
                        "cd /usr/lib/systemd/system; set -- vexonet*.service"
                        " dhclient*.service ip-conflict*.service; echo $#; grep -L ^"
                            + bound + "= $@; true"}),
                  "7\n")
            << bound;
    }
}

}  // namespace
}  // namespace vexotest

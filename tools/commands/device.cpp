#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

#include <vexonetwork/utils/json_reader.h>

#include "commands/commands.h"
#include "facts/daemon.h"
#include "facts/entry.h"
#include "failure.h"
#include "print/device_list.h"
#include <CLI/CLI.hpp>

namespace vexonetctl {
namespace {

struct DeviceOptions {
    std::string source = "all";
    bool json = false;
    std::string mac;
    std::string name;
    std::string type;
};

/// The daemon's spelling of a MAC address; fails when the daemon knows no such device.
std::string RequireKnown(Daemon& daemon, const std::string& mac) {
    const Json::Value devices = daemon.Devices("all");
    const Json::Value* device = FindDevice(devices, *CanonicalMac(mac));
    if (device == nullptr) {
        throw Failure(kRefused, mac + " is no device of the list; see: vexonetctl device list");
    }
    return Text(*device, "macAddr");
}

void ListDevices(const DeviceOptions& options) {
    Daemon daemon;
    const Json::Value devices = daemon.Devices(options.source);
    if (options.json) {
        std::cout << devices.toStyledString();
    } else {
        PrintDevices(std::cout, devices);
    }
}

void LabelDevice(const DeviceOptions& options) {
    Daemon daemon;
    const std::string mac = RequireKnown(daemon, options.mac);
    daemon.LabelDevice(mac, options.name, options.type);
    // Asking for all again has the daemon write its file, too.
    const Json::Value devices = daemon.Devices("all");
    const Json::Value* device = FindDevice(devices, *CanonicalMac(mac));
    if (device == nullptr || Text(*device, "userdef_displayName") != options.name
        || Text(*device, "userdef_deviceType") != options.type) {
        throw Failure(kRefused, "the daemon did not take the name of " + mac + kSeeItsLog);
    }
}

void ForgetDevice(const DeviceOptions& options) {
    Daemon daemon;
    // A device that it does not know would cost the daemon its list.
    daemon.ForgetDevice(RequireKnown(daemon, options.mac));
}

std::string CheckMac(const std::string& text) {
    return CanonicalMac(text) ? "" : "'" + text + "' is no MAC address such as 02:00:5e:10:00:01";
}

std::string CheckLabel(const std::string& text) {
    constexpr std::size_t kMax = 128;
    if (text.empty() || text.size() > kMax) {
        return "it has 1 to " + std::to_string(kMax) + " bytes";
    }
    if (std::ranges::any_of(text, [](unsigned char c) { return c < ' ' || c == 0x7f; })) {
        return "it has no control characters";
    }
    using namespace vexonetwork::utils;
    Json::Value sent;
    return ParseJson(ToCompactText(text), sent) && sent == text ? "" : "it is not UTF-8 text";
}

std::shared_ptr<DeviceOptions> Declare(CLI::App* command, Command& chosen,
                                       void (*work)(const DeviceOptions&),
                                       const std::string& footer) {
    auto options = std::make_shared<DeviceOptions>();
    command->callback([&chosen, work, options] { chosen = [work, options] { work(*options); }; });
    command->footer(footer);
    return options;
}

void DeclareMac(CLI::App* command, DeviceOptions& options) {
    command->add_option("MAC", options.mac, "Its MAC address")
        ->required()
        ->type_name("")
        ->check(CheckMac);
}

void DeclareList(CLI::App& group, Command& chosen) {
    CLI::App* list = group.add_subcommand("list", "Show the devices, also those that have left");
    const auto options =
        Declare(list, chosen, ListDevices,
                "A name that a device tells late is in the next list. upnp and kelo show what one\n"
                "scanner has found by itself.\n\n"
                "Example: vexonetctl device list --json");
    list->add_option("--source", options->source, "all (the default), upnp or kelo")
        ->type_name("WORD")
        ->check(CLI::IsMember({"all", "upnp", "kelo"}));
    list->add_flag("--json", options->json, "Print JSON");
}

void DeclareLabel(CLI::App& group, Command& chosen) {
    CLI::App* label = group.add_subcommand("label", "Give a device a name and a type");
    const auto options =
        Declare(label, chosen, LabelDevice,
                "Both are texts of your own; they stay when the device leaves and comes again.\n\n"
                "Example: vexonetctl device label 02:00:5e:10:00:01 --name Office --type printer");
    DeclareMac(label, *options);
    label->add_option("--name", options->name, "What to call it")
        ->required()
        ->type_name("TEXT")
        ->check(CheckLabel);
    label->add_option("--type", options->type, "What it is")
        ->required()
        ->type_name("TEXT")
        ->check(CheckLabel);
}

void DeclareForget(CLI::App& group, Command& chosen) {
    CLI::App* forget = group.add_subcommand("forget", "Take a device out of the list");
    const auto options =
        Declare(forget, chosen, ForgetDevice,
                "Its name and type go with it. One that is still on the network comes again.\n\n"
                "Example: vexonetctl device forget 02:00:5e:10:00:01");
    DeclareMac(forget, *options);
}

}  // namespace

void AddDeviceCommands(CLI::App& app, Command& chosen) {
    CLI::App* group = app.add_subcommand("device", "The devices on the LAN");
    group->require_subcommand(1);
    group->footer("Example: vexonetctl device list");
    for (const auto declare : {DeclareList, DeclareLabel, DeclareForget}) {
        declare(*group, chosen);
    }
}

}  // namespace vexonetctl

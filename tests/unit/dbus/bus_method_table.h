#pragma once

#include <gtest/gtest.h>
#include <json/json.h>

#include <functional>
#include <string>
#include <vector>

#include <vexonetwork/network/module/module_manager.h>
#include <vexonetwork/utils/json_reader.h>

#include "dbus/net_handlers.h"

namespace vexotest {

namespace module = vexonetwork::network::module;

/// Stands in for the modules behind the bus: writes the request down and answers as told.
class RecordingModule : public module::BaseModule {
  public:
    using BaseModule::BaseModule;

    int InitialModule() override { return 0; }
    int StartModule() override { return 0; }
    int TerminateModule() override { return 0; }
    int ProcessRequest(const Json::Value& in, Json::Value& out) override {
        requests.push_back(in);
        requests.back()["module"] = ToStr();
        return answer(out);
    }

    inline static std::vector<Json::Value> requests;
    inline static std::function<int(Json::Value&)> answer;
};

template <module::MODULE_TYPE Type>
void AddRecordingModule() {
    module::ModuleManager::GetInstance().AddModule(
        {Type, true, []() -> module::BaseModule* { return new RecordingModule(Type); }});
}

/// The modules of all bus methods, recording while the object lives; they succeed at first.
struct RecordingModules {
    RecordingModules() {
        RecordingModule::requests.clear();
        RecordingModule::answer = [](Json::Value&) { return 0; };
        AddRecordingModule<module::MODULE_IPV6>();
        AddRecordingModule<module::MODULE_ROUTE>();
        AddRecordingModule<module::MODULE_DEVICE_LIST>();
    }
    ~RecordingModules() {
        for (const auto type :
             {module::MODULE_IPV6, module::MODULE_ROUTE, module::MODULE_DEVICE_LIST}) {
            module::ModuleManager::GetInstance().RemoveModule(type);
        }
    }
};

/// One method of the bus object and what is known of it.
struct MethodCase {
    const char* name;
    gboolean (*set)(GObject*, const char*, GError**);
    gboolean (*get)(GObject*, const char*, char**, GError**);
    const char* module;
    const char* argument;
    const char* request;
    const char* failure;

    bool TakesJson() const { return *argument == '{'; }
    gboolean Call(GObject* object, const char* text, char** reply, GError** error) const {
        return get != nullptr ? get(object, text, reply, error) : set(object, text, error);
    }
};

inline const MethodCase kMethods[] = {
    {"GetDeviceListData", nullptr, net_get_device_list_data, "module:4", "upnp",
     R"({"method": "get", "scannertype": "upnp"})", "failed to get upnp data"},
    {"SetDeviceListData", net_set_device_list_data, nullptr, "module:4", R"({"a": 1})",
     R"({"a": 1, "method": "set"})", "failed to set device type"},
    {"DelDeviceListData", net_del_device_list_data, nullptr, "module:4", "02:00:00:00:00:01",
     R"({"method": "del", "macAddr": "02:00:00:00:00:01"})", "failed to set delete data"},
    {"GetGatewayListData", nullptr, net_get_gateway_list_data, "module:3",
     R"({"type": "GTYPE_V4"})", R"({"type": "GTYPE_V4", "method": "GET_GATEWAY_LIST_DATA"})",
     "failed to get gateway list data"},
    {"AddGatewayData", net_add_gateway_data, nullptr, "module:3",
     "{\"method\": \"DEL_GATEWAY_DATA\" /* a trick */}", R"({"method": "ADD_GATEWAY_DATA"})",
     "failed to add gateway data"},
    {"DelGatewayData", net_del_gateway_data, nullptr, "module:3", "{}",
     R"({"method": "DEL_GATEWAY_DATA"})", "failed to del gateway data"},
    {"GetGatewayDataByInterface", nullptr, net_get_gateway_data_by_interface, "module:3", "{}",
     R"({"method": "GET_GATEWAY_DATA_BY_INTERFACE"})", "failed to get gateway data by interface"},
    {"SetSlaveData", net_set_slave_data, nullptr, "module:3", "{}",
     R"({"method": "SET_SLAVE_DATA"})", "failed to set slave data"},
    {"CopyGatewayData", net_copy_gateway_data, nullptr, "module:3", "{}",
     R"({"method": "COPY_GATEWAY_DATA"})", "failed to copy gateway data"},
    {"RefreshGateway", net_refresh_gateway, nullptr, "module:3", R"({"type": "GTYPE_V6"})",
     R"({"type": "GTYPE_V6", "method": "REFRESH_GATEWAY"})", "failed to refresh gateway"},
    {"ResetIPv6Module", net_reset_ipv6_module, nullptr, "module:2", "eth0",
     R"({"method": "RESET_IPV6_MODULE", "ifname": "eth0"})", "failed to reset ipv6 module"},
};

inline Json::Value JsonOf(const std::string& text) {
    Json::Value value;
    EXPECT_TRUE(vexonetwork::utils::ParseJson(text, value)) << text;
    return value;
}

}  // namespace vexotest

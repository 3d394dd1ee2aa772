#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include <vexo/net_interface.h>
#include <vexobase/log.h>
#include <vexobase/replace_file.h>
#include <vexonetwork/dbus/dbus_client.h>
#include <vexonetwork/ipv6/router/router6_attr.h>
#include <vlib/file.h>

#include "ipv6/router/router6_file.h"
#include "ipv6/router/router_names.h"
#include "utils/sz_containers.h"

namespace vexo::network::ipv6::router {

namespace {

using vexonetwork::utils::UniqueSzHash;

constexpr int kCapacity = 1024;
constexpr char kLineFormat[] = "\t%s=%s\n";

struct Section {
    Router6File::Section place;
    const char* word;  ///< in messages
    int (Router6Attr::*generate)(PVLIBSZHASH*) const;
    int (Router6Attr::*get)(PVLIBSZHASH);
};

constexpr std::array<Section, 3> kSections = {
    {{Router6File::kConf, "config", &Router6Attr::GenConfSection, &Router6Attr::GetConfSection},
     {Router6File::kAddr, "address", &Router6Attr::GenAddrSection, &Router6Attr::GetAddrSection},
     {Router6File::kLan, "prefix", &Router6Attr::GenPrefSection, &Router6Attr::GetPrefSection}}};

/// A stream into memory.
class TextStream {
  public:
    TextStream() = default;
    ~TextStream() {
        stream.reset();  // which puts the text in its final place
        std::free(buffer);
    }
    TextStream(const TextStream&) = delete;
    TextStream& operator=(const TextStream&) = delete;

    FILE* Get() const { return stream.get(); }

    /// What was written, or nothing when memory was short. The stream is then closed.
    std::optional<std::string> Finish() {
        const bool isWhole = stream && std::fclose(stream.release()) == 0;
        return isWhole ? std::optional(std::string(buffer, size)) : std::nullopt;
    }

  private:
    char* buffer = nullptr;
    std::size_t size = 0;
    std::unique_ptr<FILE, decltype(&std::fclose)> stream{::open_memstream(&buffer, &size),
                                                         &std::fclose};
};

/// @return 1 when the pair could not be set, else 0
int SetText(PVLIBSZHASH* section, const std::string& key, const std::string& value) {
    // The table sees texts up to a NUL, so one inside would be lost without notice.
    const bool isWhole = (key + value).find('\0') == std::string::npos;
    return isWhole && VLIBCSzHashSetValue(section, key.c_str(), value.c_str()) == 0 ? 0 : 1;
}

/// @return 1 when the key is missing, else 0
int GetText(PVLIBSZHASH section, const char* key, std::string& field) {
    const char* value = VLIBCSzHashGetValue(section, key);
    if (value == nullptr) {
        return 1;
    }
    field = value;
    return 0;
}

void SetUnlessEmpty(Json::Value& object, const char* key, const std::string& value) {
    if (!value.empty()) {
        object[key] = value;
    }
}

/// The text of the whole file, or nothing with a log line.
std::optional<std::string> FileText(const Router6Attr& attr, const std::string& path,
                                    UniqueSzHash& hash) {
    TextStream text;
    for (const Section& section : kSections) {
        VLIBCHashRemoveAll(hash.Get());
        if ((attr.*section.generate)(hash.Address()) != 0) {
            VEXO_LOG(LOG_ERR, "Failed to generate %s section", section.word);
            return std::nullopt;
        }
        if (VLIBCFileHash2File(text.Get(), Router6File::kNames[section.place], hash.Get(),
                               kLineFormat)
            != 0) {
            VEXO_LOG(LOG_ERR, "Failed to add %s section [file: %s]", section.word, path.c_str());
            return std::nullopt;
        }
    }
    return text.Finish();
}

}  // namespace

Router6Attr::Router6Attr(const std::string& wanName, bool isDefaultGateway)
    : type("native"), wan(wanName), is_default_gateway(isDefaultGateway) {}

Router6Attr::Router6Attr(const std::string& typeName, const std::string& wanName,
                         const std::string& routedPrefix, const std::string& localAddrV4,
                         const std::string& remoteAddrV4, const std::string& localAddrV6,
                         bool isDefaultGateway)
    : type(typeName),
      wan(wanName),
      prefix(routedPrefix),
      local_addr_v4(localAddrV4),
      remote_addr_v4(remoteAddrV4),
      local_addr_v6(localAddrV6),
      is_default_gateway(isDefaultGateway) {}

bool Router6Attr::operator==(const Router6Attr& other) const {
    return type == other.type && wan == other.wan && prefix == other.prefix
           && local_addr_v4 == other.local_addr_v4 && remote_addr_v4 == other.remote_addr_v4
           && local_addr_v6 == other.local_addr_v6
           && is_default_gateway == other.is_default_gateway;
}

Json::Value Router6Attr::ToJson() const {
    Json::Value config;
    SetUnlessEmpty(config, "wan", wan);
    SetUnlessEmpty(config, "prefix", prefix);
    SetUnlessEmpty(config, "local_addr_v6", local_addr_v6);
    // Callers find one end of the tunnel under this name: the far one, if there is one.
    SetUnlessEmpty(config, "remote_addr_v4", local_addr_v4);
    SetUnlessEmpty(config, "remote_addr_v4", remote_addr_v4);

    Json::Value json;
    SetUnlessEmpty(json, "type", type);
    json["is_default_gateway"] = is_default_gateway;
    if (!config.isNull()) {
        json["config"] = config;
    }
    return json;
}

void Router6Attr::AddLan(const std::string& lan, const std::string& lanPrefix) {
    if (!lan.empty() && !lanPrefix.empty()) {
        lans.emplace_back(lan, lanPrefix);
    }
}

void Router6Attr::RemoveLan(const std::string& lan, const std::string& lanPrefix) {
    const auto found = std::ranges::find(lans, std::pair(lan, lanPrefix));
    if (!lan.empty() && !lanPrefix.empty() && found != lans.end()) {
        lans.erase(found);
    }
}

std::string Router6Attr::ConvertInterface(const std::string& name) {
    if (name != "pppoe") {
        return name;
    }
    char ifname[1024] = {};
    if (VEXOPPPoeIntfGet(ifname, sizeof ifname) < 0) {
        VEXO_LOG(LOG_INFO, "Failed to get PPPoE interface");
        return "";
    }
    return ifname;
}

std::string Router6Attr::GetConfigName() const {
    const std::string ifname = ConvertInterface(wan);
    if (!HasFiles(ifname)) {
        VEXO_LOG(LOG_ERR, "No interface can have the name [%s]", ifname.c_str());
        return "";
    }
    return "/etc/sysconfig/networking/ipv6-" + ifname;
}

int Router6Attr::SaveConfig() const {
    UniqueSzHash hash(VLIBCSzHashAlloc(kCapacity));
    if (!hash) {
        VEXO_LOG(LOG_ERR, "Failed to allocate PVLIBSZHASH");
        return -1;
    }
    const std::string path = GetConfigName();
    if (path.empty()) {
        return -1;
    }
    // Whoever reads meanwhile, or after a crash, is to find a whole file: it knows who has which
    // part of the prefix.
    const auto text = FileText(*this, path, hash);
    if (!text) {
        return -1;
    }
    if (text->size() > vexobase::kMaxFileBytes || vexobase::ReplaceFile(path, *text) != 0) {
        VEXO_LOG(LOG_ERR, "Failed to add %s section [file: %s]", kSections.front().word,
                 path.c_str());
        return -1;
    }
    return 0;
}

int Router6Attr::LoadConfig() {
    Router6File file;
    if (!file) {
        VEXO_LOG_AT(282, LOG_ERR, "Failed to allocate PVLIBSZHASH");
        return -1;
    }
    const std::string path = GetConfigName();
    if (VLIBCFileExist(path.c_str()) != 1) {
        VEXO_LOG(LOG_INFO, "No existing IPv6 config");
        return -1;
    }
    file.Read(path);
    return Take(file, path, [](const std::string& ifname) {
        return vexonetwork::utils::GetGatewayPriority(ifname, kGatewayType);
    });
}

int Router6Attr::Take(const Router6File& file, const std::string& path,
                      const PriorityOf& priorityOf) {
    const std::string tunnel = TunnelDevice(ConvertInterface(wan));
    for (const Section& section : kSections) {
        const PVLIBSZHASH pairs = file.Find(section.place);
        if (pairs == nullptr) {
            VEXO_LOG(LOG_ERR, "Failed to load %s section [file: %s]", section.word, path.c_str());
            return -1;
        }
        if ((this->*section.get)(pairs) != 0) {
            VEXO_LOG(LOG_ERR, "Failed to get %s section", section.word);
        }
    }
    const int priority = priorityOf(type == "native" ? ConvertInterface(wan) : tunnel);
    if (priority >= 0) {
        is_default_gateway = priority == 0;
    }
    return 0;
}

int Router6Attr::RemoveConfig() const {
    return ::unlink(GetConfigName().c_str());
}

int Router6Attr::GenConfSection(PVLIBSZHASH* section) const {
    return SetText(section, "type", type) + SetText(section, "wan", wan)
           + SetText(section, "prefix", prefix)
           + SetText(section, "is_default_gateway", is_default_gateway ? "yes" : "no")
           + (is_open ? SetText(section, "open", "yes") : 0);
}

int Router6Attr::GenAddrSection(PVLIBSZHASH* section) const {
    return SetText(section, "local_addr_v4", local_addr_v4)
           + SetText(section, "remote_addr_v4", remote_addr_v4)
           + SetText(section, "local_addr_v6", local_addr_v6);
}

int Router6Attr::GenPrefSection(PVLIBSZHASH* section) const {
    int failed = 0;
    for (const auto& [lan, lanPrefix] : lans) {
        failed += SetText(section, lan, lanPrefix);
    }
    return failed;
}

int Router6Attr::GetConfSection(PVLIBSZHASH section) {
    const int missing = GetText(section, "type", type) + GetText(section, "wan", wan)
                        + GetText(section, "prefix", prefix);
    std::string flag;
    is_open = GetText(section, "open", flag) == 0 && flag == "yes";
    if (GetText(section, "is_default_gateway", flag) != 0) {
        return missing + 1;
    }
    // Whatever was saved: the list of gateways, asked next, knows better.
    is_default_gateway = true;
    return missing;
}

int Router6Attr::GetAddrSection(PVLIBSZHASH section) {
    return GetText(section, "local_addr_v4", local_addr_v4)
           + GetText(section, "remote_addr_v4", remote_addr_v4)
           + GetText(section, "local_addr_v6", local_addr_v6);
}

int Router6Attr::GetPrefSection(PVLIBSZHASH section) {
    if (section == nullptr) {
        return -1;
    }
    for (int i = 0; i < section->count; ++i) {
        const char* lan = VLIBCSzHashEnumKey(section, i);
        const char* lanPrefix = lan == nullptr ? nullptr : VLIBCSzHashGetValue(section, lan);
        if (lanPrefix != nullptr) {
            AddLan(lan, lanPrefix);
        }
    }
    return 0;
}

}  // namespace vexo::network::ipv6::router

#include "network/devices/upnp/device_description.h"

#include <ixml.h>

#include <algorithm>

#include <vexobase/unique_handle.h>

#include "utils/utf8.h"

namespace vexonetwork::network {

namespace {

using Document = vexobase::UniqueHandle<IXML_Document, &::ixmlDocument_free>;

constexpr std::size_t kMaxText = 256;

/// Elements and attributes: an element within the other takes a piece of the stack when the
/// document is freed, and the time for attributes grows with their square.
constexpr auto kMaxMarkup = 4096;

constexpr std::string_view kFrame = "our-frame-of-a-description";

bool IsLayout(std::uint32_t character) {
    return character == '\t' || character == '\r' || character == '\n';
}

/// The text without what XML does not allow, and the parser would refuse the whole of it for: bytes
/// that are no characters, and controls.
std::string OnlyCharacters(std::string_view text) {
    std::string characters;
    characters.reserve(text.size());
    while (!text.empty()) {
        const std::string_view before = text;
        const auto character = utils::TakeCharacter(text);
        if (!character) {
            text.remove_prefix(1);
        } else if (!utils::IsControl(*character) || IsLayout(*character)) {
            characters += before.substr(0, before.size() - text.size());
        }
    }
    return characters;
}

/// At most so many bytes of whole characters without controls, and without blanks around them.
std::string Cleaned(std::string_view text) {
    std::string cleaned;
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    while (!text.empty()) {
        const std::string_view before = text;
        const auto character = utils::TakeCharacter(text);
        const std::size_t length = before.size() - text.size();
        if (!character || cleaned.size() + length > kMaxText) {
            break;
        }
        if (!utils::IsControl(*character)) {
            cleaned += before.substr(0, length);
        }
    }
    cleaned.erase(cleaned.find_last_not_of(' ') + 1);
    return cleaned;
}

IXML_Node* FindChild(IXML_Node* parent, std::string_view name) {
    IXML_Node* child = ::ixmlNode_getFirstChild(parent);
    while (child != nullptr
           && (::ixmlNode_getNodeType(child) != eELEMENT_NODE
               || ::ixmlNode_getNodeName(child) != name)) {
        child = ::ixmlNode_getNextSibling(child);
    }
    return child;
}

std::string TextOf(IXML_Node* device, std::string_view name) {
    IXML_Node* element = FindChild(device, name);
    std::string text;
    for (IXML_Node* part = ::ixmlNode_getFirstChild(element); part != nullptr;
         part = ::ixmlNode_getNextSibling(part)) {
        const int type = ::ixmlNode_getNodeType(part);
        if (type == eTEXT_NODE || type == eCDATA_SECTION_NODE) {
            text += ::ixmlNode_getNodeValue(part);
        }
    }
    return Cleaned(text);
}

/// Whether the parser, which takes what it is given, may have it.
bool IsHarmless(std::string_view xml) {
    const auto markup =
        std::count_if(xml.begin(), xml.end(), [](char c) { return c == '<' || c == '='; });
    return markup <= kMaxMarkup && xml.find("<!DOCTYPE") == xml.npos
           && xml.find(kFrame) == xml.npos;
}

/// The elements of a description in one more of our own: the parser loses the memory of a text that
/// stands in none.
std::string Framed(std::string_view xml) {
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    constexpr std::string_view kDeclarationEnd = "?>";
    if (xml.starts_with(kByteOrderMark)) {
        xml.remove_prefix(kByteOrderMark.size());
    }
    if (xml.starts_with("<?xml")) {
        const auto end = std::min(xml.find(kDeclarationEnd), xml.size() - kDeclarationEnd.size());
        xml.remove_prefix(end + kDeclarationEnd.size());
    }
    const std::string name(kFrame);
    return "<" + name + ">" + std::string(xml) + "</" + name + ">";
}

}  // namespace

std::optional<DeviceDescription> ParseDescription(std::string_view xml) {
    if (xml.size() > kMaxDescriptionBytes) {
        return std::nullopt;
    }
    const std::string text = OnlyCharacters(xml);
    if (!IsHarmless(text)) {
        return std::nullopt;
    }
    Document document;
    if (::ixmlParseBufferEx(Framed(text).c_str(), document.Address()) != IXML_SUCCESS) {
        return std::nullopt;
    }
    IXML_Node* frame = ::ixmlNode_getFirstChild(&document->n);
    IXML_Node* device = FindChild(FindChild(frame, "root"), "device");
    DeviceDescription description{TextOf(device, "friendlyName"), TextOf(device, "modelName"),
                                  TextOf(device, "modelDescription"),
                                  TextOf(device, "manufacturer")};
    if (description.friendlyName.empty() && description.modelName.empty()) {
        return std::nullopt;
    }
    return description;
}

}  // namespace vexonetwork::network

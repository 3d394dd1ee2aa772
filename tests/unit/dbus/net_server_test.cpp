#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>

#include "bus_method_table.h"
#include "support/syslog_spy.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vexotest::JsonOf;
using vexotest::kMethods;
using vexotest::MethodCase;
using vexotest::RecordingModule;

/// What a handler gave its caller.
struct Outcome {
    gboolean done;
    std::string reply;
    std::string domain;
    std::string message;
    int code;
};

class Handlers : public testing::Test {
  protected:
    ~Handlers() override { g_object_unref(object); }

    static Outcome Call(const MethodCase& method, GObject* on, const char* text) {
        char* reply = nullptr;
        GError* error = nullptr;
        Outcome outcome{method.Call(on, text, &reply, &error), reply == nullptr ? "" : reply, "",
                        "", 0};
        if (error != nullptr) {
            outcome.domain = g_quark_to_string(error->domain);
            outcome.message = error->message;
            outcome.code = error->code;
            g_error_free(error);
        }
        g_free(reply);
        return outcome;
    }

    vexotest::SyslogSpy spy;
    vexotest::RecordingModules modules;
    GObject* object = G_OBJECT(g_object_new(G_TYPE_OBJECT, nullptr));
};

TEST_F(Handlers, BuildTheirRequestAndRenderTheReply) {
    RecordingModule::answer = [](Json::Value& out) {
        out["name"] = "caf\u00e9";
        return 0;
    };
    for (const MethodCase& method : kMethods) {
        SCOPED_TRACE(method.name);
        Json::Value expected = JsonOf(method.request);
        expected["module"] = method.module;
        RecordingModule::requests.clear();
        const Outcome outcome = Call(method, object, method.argument);
        EXPECT_TRUE(outcome.done);
        EXPECT_THAT(RecordingModule::requests, ElementsAre(expected));
        EXPECT_EQ(outcome.reply,
                  method.get == nullptr ? "" : "{\n\t\"name\" : \"caf\\u00e9\"\n}\n");
    }
    EXPECT_THAT(spy.Messages(), IsEmpty());
}

TEST_F(Handlers, RefuseNull) {
    for (const MethodCase& method : kMethods) {
        SCOPED_TRACE(method.name);
        const bool setsDevices = std::string(method.name) == "SetDeviceListData";
        for (const auto& [on, text] :
             {std::pair<GObject*, const char*>{nullptr, method.argument}, {object, nullptr}}) {
            const Outcome outcome = Call(method, on, text);
            EXPECT_FALSE(outcome.done);
            const bool silent = setsDevices && text == nullptr;
            EXPECT_EQ(outcome.domain, silent ? "" : "badparameter");
            EXPECT_EQ(outcome.message, silent ? "" : "Bad parameter");
            EXPECT_EQ(outcome.code, silent ? 0 : 1);
        }
    }
    EXPECT_TRUE(spy.Has("net_server", "Bad parameter"));
    EXPECT_TRUE(spy.Has("net_server", "Failed to parse device data"));
    EXPECT_THAT(RecordingModule::requests, IsEmpty());
}

TEST_F(Handlers, RefuseWhatIsNoObject) {
    const std::string nested = std::string(100'000, '[') + std::string(100'000, ']');
    for (const MethodCase& method : kMethods) {
        for (const std::string& text :
             {std::string(), std::string("{"), std::string("[]"), std::string("null"),
              std::string("3"), std::string("\"type\""), nested}) {
            if (!method.TakesJson()) {
                continue;
            }
            SCOPED_TRACE(method.name + (" " + text.substr(0, 10)));
            spy.Clear();
            const Outcome outcome = Call(method, object, text.c_str());
            EXPECT_FALSE(outcome.done);
            EXPECT_EQ(outcome.domain, "");
            const bool setsDevices = std::string(method.name) == "SetDeviceListData";
            EXPECT_THAT(spy.Messages(), ElementsAre(setsDevices ? "Failed to parse device data"
                                                                : "Failed to parse info"));
        }
    }
    EXPECT_THAT(RecordingModule::requests, IsEmpty());
}

TEST_F(Handlers, TellWhenTheModuleFails) {
    const auto fail = [](Json::Value& out) {
        out["half"] = "done";
        return 7;
    };
    const auto exhaust = [](Json::Value&) -> int { throw std::bad_alloc(); };
    const auto misread = [](Json::Value& out) { return (out = "text")["member"].asInt(); };
    for (const std::function<int(Json::Value&)>& answer :
         std::initializer_list<std::function<int(Json::Value&)>>{fail, exhaust, misread}) {
        RecordingModule::answer = answer;
        for (const MethodCase& method : kMethods) {
            SCOPED_TRACE(method.name);
            const Outcome outcome = Call(method, object, method.argument);
            EXPECT_FALSE(outcome.done);
            EXPECT_EQ(outcome.reply, "");
            EXPECT_EQ(outcome.domain, "error");
            EXPECT_EQ(outcome.message, method.failure);
            EXPECT_EQ(outcome.code, 1);
        }
    }
    EXPECT_TRUE(spy.Has("net_server", "failed to delete data"));
    EXPECT_TRUE(spy.Has("net_server", "failed to add gateway data"));
    EXPECT_TRUE(spy.Has("net_server", "failed to refresh gateway: std::bad_alloc"));
}

TEST_F(Handlers, ReplyWhatTheBusCanCarry) {
    RecordingModule::answer = [](Json::Value& out) {
        out["broken"] = "a\xff";
        out["commented"] = 1;
        out["commented"].setComment(std::string("// b\xff"), Json::commentBefore);
        return 0;
    };
    const Outcome outcome = Call(kMethods[0], object, "upnp");
    EXPECT_TRUE(g_utf8_validate(outcome.reply.data(), gssize(outcome.reply.size()), nullptr));
    EXPECT_EQ(JsonOf(outcome.reply)["broken"].asString(), "a\ufffd");

    RecordingModule::answer = [](Json::Value& out) {
        out = std::string(20'000'000, 'x');
        return 0;
    };
    EXPECT_EQ(Call(kMethods[0], object, "upnp").message, kMethods[0].failure);
}

}  // namespace

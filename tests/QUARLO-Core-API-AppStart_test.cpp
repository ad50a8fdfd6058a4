/* Starting apps, and the requests for their icons. */
#include <gtest/gtest.h>

#include <optional>

#include "Calls.h"

namespace quarlo::test {
namespace {

/* ---- app start ---- */

class Starter : public Session {
  public:
    Starter() {
        EXPECT_EQ(during([&] {
                      EXPECT_EQ(quarlo_SetAppStartedResponseCallback(
                                    handle(),
                                    [](void* context, const char* url, AppStartStatus status) {
                                        hostOf(context).note(std::string("started ") + url + " " +
                                                             std::to_string(status));
                                    }),
                                eRETURN_OKAY);
                  }),
                  Lines{"INF SetAppStartedResponseCallback"});
    }
};

char one[] = "one";
char two[] = "two";
char empty[] = "";
KeyValue pairs[] = {{one, two}, {empty, one}};
KeyValueList both{2, pairs};
KeyValueList none{0, nullptr};

std::vector<Call> startCalls() {
    const Bytes bothWire = u8(2) + text("one") + text("two") + text("") + text("one");
    const auto call = [](const char* name, const std::string& url, KeyValueList* modes,
                         KeyValueList* options, const Lines& more, const Bytes& lists) {
        const std::string line = "StartApp with IdentifierURL='" + url + "'";
        const Lines lines = Lines{"INF " + line.substr(0, 1023)} + more;
        Call result{name,  [=](void* h) { return quarlo_StartApp(h, url.c_str(), modes, options); },
                    lines, packet(73, text(url.size() < 65536 ? url : "") + lists),
                    {},    {}};
        if (lists.size() > 2) result.failures = {{lines, eRETURN_MEM_ALLOC}};
        if (url.size() == 65535) {
            result.failures = {{lines + Lines{"WRN creation of ClientStartApp packet failed."},
                                eRETURN_PACKET_MEMORY}};
        }
        result.outside = {{"WRN AppStart feature and therefore StartApp not supported by phone."},
                          eRETURN_NOT_SUPPORTED};
        return result;
    };
    const Bytes no = u8(0);
    return {
        call("alone", "app:%s", nullptr, nullptr, {}, no + no),
        call("with lists", "app:%s", &both, &both,
             {"VER pLaunchModesNoEntries=2.", "VER pOptionsNoEntries=2, "}, bothWire + bothWire),
        call("with empty modes", "app:%s", &none, nullptr, {"VER pLaunchModesNoEntries=0."},
             no + no),
        call("with options", "app:%s", nullptr, &both, {"VER pOptionsNoEntries=2, "},
             no + bothWire),
        call("of a long URL", std::string(65535, 'u'), nullptr, nullptr, {}, no + no),
        call("of a URL that does not fit", std::string(65536, 'u'), nullptr, nullptr, {}, no + no)};
}

TEST(AppStart, InRunIsSentAtOnce) {
    expectSentInRun(startCalls());
}

TEST(AppStart, NeedsAPhoneThatCan) {
    expectNothingSentOutsideRun(startCalls());
}

TEST(AppStart, NeedsMemoryOnlyForListsAndLongURLs) {
    expectFailuresWithoutMemory(startCalls());
}

TEST(AppStart, IsRefused) {
    const Library library;
    Starter starter;
    void* const h = starter.handle();
    EXPECT_EQ(quarlo_StartApp(h, nullptr, nullptr, nullptr), eRETURN_NULL_PARAM);
    KeyValue torn[] = {{one, two}, {one, nullptr}};
    KeyValue keyless[] = {{nullptr, two}};
    KeyValueList lists[] = {{2, torn}, {1, keyless}, {1, nullptr}};
    for (KeyValueList& list : lists) {
        const long before = allocations::live();
        EXPECT_EQ(quarlo_StartApp(h, "u", &list, nullptr), eRETURN_NULL_PARAM);
        EXPECT_EQ(quarlo_StartApp(h, "u", &both, &list), eRETURN_NULL_PARAM);
        EXPECT_EQ(allocations::live(), before);
    }
    EXPECT_TRUE(starter.sent().empty());
    qrKeyValueList to{};
    EXPECT_EQ(_quarlo_CopyKeyValueList(&to, nullptr), eRETURN_NULL_PARAM);
    EXPECT_EQ(_quarlo_CopyKeyValueList(nullptr, &both), eRETURN_NULL_PARAM);

    Host stopped;
    stopped.record()->serverCapabilities = 4;
    EXPECT_EQ(quarlo_StartApp(stopped.handle(), "u", nullptr, nullptr), eRETURN_STATE_NOT_RUN);
    EXPECT_EQ(stopped.lines(), (Lines{"INF StartApp with IdentifierURL='u'",
                                      "WRN StartApp received in wrong state; ignored."}));
}

TEST(AppStart, TheAnswerReachesTheHost) {
    const Library library;
    Starter starter;
    const Lines head{"INF Received ServerAppStartedResponse"};
    const auto answer = [](const std::string& url, unsigned status) {
        return packet(74, text(url) + u8(status));
    };
    EXPECT_EQ(starter.hear(answer("app:a", 2) + answer("%s", 200)),
              head + Lines{"started app:a 2"} + head + Lines{"started %s 200"});
    EXPECT_EQ(starter.hear(answer("", 2)),
              head + Lines{"WRN allocation for IdentifierURL failed."});
    allocations::restart(1);
    EXPECT_EQ(starter.hear(answer(std::string(65535, 'u'), 2)),
              head + Lines{"WRN allocation for IdentifierURL failed."});
    allocations::restart();
    EXPECT_EQ(starter.during([&] { onReceiveServerAppStarted(starter.host.record(), nullptr); }),
              head + Lines{"WRN onReceiveServerAppStarted called with NULL packet."});
    quarlo_SetAppStartedResponseCallback(starter.handle(), nullptr);
    // The text names the icon's callback.
    EXPECT_EQ(starter.hear(answer("app:a", 2)),
              head + Lines{"WRN AppStartedResponse received, but onAppIconResponseCallback not "
                           "set."});

    Host idle;
    quarlo_SetAppStartedResponseCallback(idle.handle(), [](void*, const char*, AppStartStatus) {});
    idle.forgetLines();
    packetServerAppStarted packet{};
    onReceiveServerAppStarted(idle.record(), &packet);
    onReceiveServerAppStarted(nullptr, &packet);
    EXPECT_EQ(idle.lines(),
              head + Lines{"WRN AppStartedResponse received in wrong state; ignored."});
}

/* ---- icon requests ---- */

Bytes iconRequest(const std::string& url, unsigned width, unsigned height,
                  const Bytes& format = u8(3) + u8(2) + u32(0) + u8(4)) {
    return packet(71, u16(width) + u16(height) + format + text(url));
}

TEST(IconRequest, TakesTheFormatOfTheFrame) {
    const Library library;
    Session session;
    EXPECT_EQ(session.during([&] {
        EXPECT_EQ(quarlo_RequestAppIcon(session.handle(), "app:%s", 64, 65535), eRETURN_OKAY);
    }),
              (Lines{"INF RequestAppIcon with IdentifierURL='app:%s'",
                     "WRN RequestAppIcon - uses frame format for icon."} +
               sendLine));
    EXPECT_EQ(session.sent(), hexes({iconRequest("app:%s", 64, 65535)}));
    // One at a time: only an answer for this app ends it.
    const Lines pending{"WRN RequestAppIcon for IdentifierURL='other' is pending; ignored."};
    const auto again = [&](eReturnCode expected) {
        return session.during(
            [&] { EXPECT_EQ(quarlo_RequestAppIcon(session.handle(), "other", 1, 2), expected); });
    };
    EXPECT_EQ(again(eRETURN_NOT_ALLOWED), pending);
    const auto answer = [](const std::string& url) {
        return packet(72, text(url) + u32(1) + u32(4) + u32(0));
    };
    session.hear(answer("other"));
    EXPECT_EQ(again(eRETURN_NOT_ALLOWED), pending);
    session.hear(answer("app:%s"));
    // The frame's format was kept, and is no longer told of.
    EXPECT_EQ(again(eRETURN_OKAY),
              Lines{"INF RequestAppIcon with IdentifierURL='other'"} + sendLine);
    EXPECT_EQ(session.sent(), hexes({iconRequest("other", 1, 2)}));
}

TEST(IconRequest, TakesItsOwnFormat) {
    const Library library;
    Host host;
    EXPECT_EQ(quarlo_SetPixelFormatEx(host.handle(), eGRAPHICTYPE_Icon, ePIXELFORMAT_RGBA8888, 4,
                                      ePIXELENDIANESS_BigEndian),
              eRETURN_OKAY);
    host.run();
    host.forgetSent();
    EXPECT_EQ(quarlo_RequestAppIcon(host.handle(), "u", 1, 2), eRETURN_OKAY);
    EXPECT_EQ(hexes(host.sent()),
              hexes({iconRequest("u", 1, 2, u8(ePIXELFORMAT_RGBA8888) + u8(1) + u32(0) + u8(4))}));
}

TEST(IconRequest, IsRefused) {
    const Library library;
    Session session;
    void* const h = session.handle();
    EXPECT_EQ(quarlo_RequestAppIcon(h, nullptr, 1, 1), eRETURN_NULL_PARAM);
    quarlo_SetPixelFormat(h, ePIXELFORMAT_RGB565, 2, ePIXELENDIANESS_LittleEndian);
    EXPECT_EQ(session.during(
                  [&] { EXPECT_EQ(quarlo_RequestAppIcon(h, "u", 1, 1), eRETURN_NOT_ALLOWED); }),
              (Lines{"INF RequestAppIcon with IdentifierURL='u'",
                     "WRN RequestAppIcon - icon format not allowed - use 4 byte coding."}));
    EXPECT_TRUE(session.sent().empty());
    session.host.record()->serverCapabilities = 3;
    EXPECT_EQ(session.during(
                  [&] { EXPECT_EQ(quarlo_RequestAppIcon(h, "u", 1, 1), eRETURN_NOT_SUPPORTED); }),
              Lines{"WRN AppStart feature and therefore RequestAppIcon not supported by phone."});
    Host stopped;
    stopped.record()->serverCapabilities = 4;
    EXPECT_EQ(quarlo_RequestAppIcon(stopped.handle(), "u", 1, 1), eRETURN_STATE_NOT_RUN);
    EXPECT_EQ(stopped.lines(), (Lines{"INF RequestAppIcon with IdentifierURL='u'",
                                      "WRN RequestAppIcon received in wrong state; ignored."}));
}

TEST(IconRequest, WithoutMemoryIsNotPending) {
    const Library library;
    const std::string url(65535, 'u');
    const std::string line = "RequestAppIcon with IdentifierURL='" + url;
    const Lines head{"INF " + line.substr(0, 1023),
                     "WRN RequestAppIcon - uses frame format for icon."};
    // The packet's text names another one.
    const Failure outcomes[] = {
        {head + sendLine, eRETURN_OKAY},
        {head + Lines{"WRN creation of ClientSettings packet failed."}, eRETURN_PACKET_MEMORY},
        {head, eRETURN_MEM_ALLOC},
        {head, eRETURN_MEM_ALLOC}};
    std::optional<Session> session;
    const auto action = [&](long refused) {
        Failure seen;
        seen.lines = session->during(
            [&] { seen.result = quarlo_RequestAppIcon(session->handle(), url.c_str(), 1, 1); });
        const Failure& expected = outcomes[static_cast<std::size_t>(refused)];
        EXPECT_EQ(seen.lines, expected.lines);
        EXPECT_EQ(seen.result, expected.result);
        EXPECT_EQ(session->host.record()->iconConfig.eIconReqState == eICONREQUESTSTATE_Requested,
                  refused == 0);
    };
    sweepBetween([&] { session.emplace(); }, action, [&] { session.reset(); });
}

}  // namespace
}  // namespace quarlo::test

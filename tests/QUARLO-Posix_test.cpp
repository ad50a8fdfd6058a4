/* The platform layer, where it adds rules of its own to what the system does. */
#include "QUARLO-Posix.h"

#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <regex>
#include <string>

namespace quarlo::test {
namespace {

/** Runs a function on a thread of the platform layer and joins it. */
template <class Body>
void onThread(Body body) {
    quarloThread_t thread{};
    const auto start = [](void* argument) -> void* {
        (*static_cast<Body*>(argument))();
        return argument;
    };
    ASSERT_EQ(quarloThread_create(&thread, nullptr, start, &body), 0);
    void* result = nullptr;
    EXPECT_EQ(quarloThread_join(thread, &result), 0);
    EXPECT_EQ(result, &body);
}

TEST(Threads, CarryNamesOfAtMostFifteenCharacters) {
    const std::pair<const char*, const char*> names[] = {{"fifteen letters", "fifteen letters"},
                                                         {"sixteen letters!", "sixteen letters"},
                                                         {"", ""},
                                                         {nullptr, "no name known"}};
    for (const auto& [given, shown] : names) {
        std::string name(17, '#');
        const char* wanted = given;
        onThread([&name, wanted] {
            EXPECT_EQ(quarloThread_SetName(wanted), 0);
            prctl(PR_GET_NAME, name.data(), 0, 0, 0);
        });
        EXPECT_STREQ(name.c_str(), shown);
    }
}

TEST(Threads, MapCancelTypesAndStates) {
    onThread([] {
        int old = -1;
        const auto former = [&old](auto set, int value) {
            EXPECT_EQ(set(value, &old), 0);
            return old;
        };
        const auto type = quarloThread_setcanceltype;
        EXPECT_EQ(former(type, QUARLOTHREAD_CANCEL_ASYNCHRONOUS), PTHREAD_CANCEL_DEFERRED);
        EXPECT_EQ(former(type, 7), PTHREAD_CANCEL_ASYNCHRONOUS);
        EXPECT_EQ(former(type, QUARLOTHREAD_CANCEL_DEFERRED), PTHREAD_CANCEL_DEFERRED);
        const auto state = quarloThread_setcancelstate;
        EXPECT_EQ(former(state, QUARLOTHREAD_CANCEL_DISABLE), PTHREAD_CANCEL_ENABLE);
        EXPECT_EQ(former(state, 7), PTHREAD_CANCEL_DISABLE);
        EXPECT_EQ(former(state, QUARLOTHREAD_CANCEL_ENABLE), PTHREAD_CANCEL_ENABLE);
    });
}

/** The text for a room of this size; the rest of the room stays as it was. */
std::string timeOfDay(int size) {
    char room[32];
    std::memset(room, '#', sizeof room);
    quarlo_GetTimeOfDayString(room, size);
    const std::size_t used = static_cast<std::size_t>(std::find(room, room + 32, '\0') - room);
    for (std::size_t i = used + 1; i < sizeof room; ++i) EXPECT_EQ(room[i], '#');
    return {room, used};
}

TEST(Time, OfDayFillsItsRoomOrLeavesItAlone) {
    quarlo_GetTimeOfDayString(nullptr, 100);
    const std::string untouched(32, '#');
    for (const int size : {-1, 0, 11}) EXPECT_EQ(timeOfDay(size), untouched) << size;
    const std::regex whole("[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3}");
    const std::regex cut("[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{2}");
    EXPECT_TRUE(std::regex_match(timeOfDay(12), cut));
    EXPECT_TRUE(std::regex_match(timeOfDay(13), whole));
    EXPECT_TRUE(std::regex_match(timeOfDay(32), whole));
}

TEST(Time, OfDayIsLocalToTheMillisecond) {
    constexpr Int64 day = 24 * 3600 * 1000;
    constexpr Int64 eastOfGreenwich = (5 * 60 + 30) * 60 * 1000;
    // Every test is a process of its own.
    setenv("TZ", "TEST-5:30", 1);
    tzset();
    const auto now = [] {
        timeval time{};
        gettimeofday(&time, nullptr);
        return (Int64{time.tv_sec} * 1000 + time.tv_usec / 1000 + eastOfGreenwich) % day;
    };
    const Int64 before = now();
    const std::string text = timeOfDay(13);
    const Int64 after = now();
    long hours = 0, minutes = 0, seconds = 0, milliseconds = 0;
    ASSERT_EQ(
        std::sscanf(text.c_str(), "%ld:%ld:%ld.%ld", &hours, &minutes, &seconds, &milliseconds), 4);
    const Int64 shown = ((hours * 60 + minutes) * 60 + seconds) * 1000 + milliseconds;
    // Counted from the time before it, as midnight may pass in between.
    EXPECT_LE((shown - before + day) % day, (after - before + day) % day) << text;
}

TEST(Time, StampsCountMillisecondsOfTheMonotonicClock) {
    timespec now{};
    const UInt32 before = quarlo_GetTimestamp();
    clock_gettime(CLOCK_MONOTONIC, &now);
    const UInt32 after = quarlo_GetTimestamp();
    const auto wanted = static_cast<UInt32>(Int64{now.tv_sec} * 1000 + now.tv_nsec / 1000000);
    EXPECT_LE(wanted - before, after - before);
    quarloPosix_pause(20);
    EXPECT_GE(quarlo_GetTimestamp() - after, 19U);
}

}  // namespace
}  // namespace quarlo::test

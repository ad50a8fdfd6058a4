// A host that was compiled with today's headers, and a library of a later release: every struct of
// the interface has grown by members that this host does not know.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

#include "quarlo-links.h"

extern "C" size_t grownSize(int which);

namespace {

// Memory with a guard behind it, where a later release would write.
template <class T>
struct Guarded {
    T value;
    unsigned char guard[256];
    Guarded() {
        memset(this, 0xA5, sizeof *this);
        value = {};
    }
    [[nodiscard]] bool isUntouched() const {
        for (const unsigned char byte : guard) {
            if (byte != 0xA5) return false;
        }
        return true;
    }
};

TEST(Growth, AHostOfTodayRunsWithALaterRelease) {
    EXPECT_GT(grownSize(0), sizeof(quarloSessionConfig)) << "nothing has grown";
    EXPECT_GT(grownSize(1), sizeof(quarloTransport));
    quarlo_Init();
    Guarded<quarloLinkFailure> failure;
    Guarded<quarloSessionConfig> config;
    Guarded<quarloTransport> transport;
    Guarded<quarloObserver> observer;
    int reports = 0;
    transport.value.size = sizeof transport.value;
    transport.value.kind = eTRANSPORT_UnixClient;
    transport.value.address = "/nowhere";
    observer.value.size = sizeof observer.value;
    config.value.size = sizeof config.value;
    config.value.transport = &transport.value;
    config.value.observer = &observer.value;
    config.value.context = &reports;
    config.value.firstDelay = 1;
    config.value.stateCallback = [](void* context, quarloSession*, const quarloSessionInfo* info) {
        EXPECT_GT(info->size, sizeof(quarloSessionInfo));
        ++*static_cast<int*>(context);
    };
    quarloSession* session = quarloSession_Start(&config.value, &failure.value);
    ASSERT_NE(session, nullptr) << failure.value.text;
    Guarded<quarloFrameChange> change;
    change.value.size = sizeof change.value;
    change.value.what = eFRAMECHANGE_Compression;
    EXPECT_EQ(quarloSession_ChangeFrames(session, &change.value, nullptr), eRETURN_STATE_NOT_RUN);
    EXPECT_EQ(quarloSession_Delete(session), eRETURN_OKAY);
    EXPECT_GE(reports, 1);
    // Also of a host that leaves the size 0.
    EXPECT_EQ(quarloLink_ConnectUnix("/nowhere", &failure.value), nullptr);
    EXPECT_STREQ(failure.value.text, "cannot connect to /nowhere: No such file or directory");
    EXPECT_TRUE(failure.isUntouched() && config.isUntouched() && transport.isUntouched());
    // One that brings less than the first release is none of ours.
    config.value.size = offsetof(quarloSessionConfig, giveUpAfter);
    EXPECT_EQ(quarloSession_Start(&config.value, &failure.value), nullptr);
    EXPECT_STREQ(failure.value.text, "cannot start session: the configuration has no size");
    quarlo_Shutdown();
}

}  // namespace

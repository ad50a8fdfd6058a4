// Links made of open descriptors, and what a TCP socket is set to for a phone that falls silent.
// Whoever makes a link calls; the silence is looked for by the receiver.
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "Link.h"
#include "Wait.h"

namespace quarlo::links {
namespace {

bool isTcp(int descriptor) {
    int protocol = 0;
    socklen_t size = sizeof protocol;
    return getsockopt(descriptor, SOL_SOCKET, SO_PROTOCOL, &protocol, &size) == 0 &&
           protocol == IPPROTO_TCP;
}

void setOption(int descriptor, int level, int option, int value) {
    setsockopt(descriptor, level, option, &value, sizeof value);
}

// An idle peer is asked after two fifths of the limit, and then so often that the limit is met. One
// that acknowledges nothing is given up by the system at the first retransmission after the
// time-out, which may come more than two seconds later (measured): isSilent() is for those.
void tuneTcp(int descriptor, std::uint32_t limit) {
    const int seconds = static_cast<int>(limit / 1000);
    const int idle = std::max(1, seconds * 2 / 5);
    const int interval = std::max(1, seconds / 5);
    setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, idle);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, interval);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, std::max(1, (seconds - idle) / interval));
    setOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, static_cast<int>(limit / 5 * 4));
}

// A descriptor that is being made fit for a link, and is as it was before unless it is kept.
class Preparation {
  public:
    explicit Preparation(int wanted) : descriptor(wanted) {}
    ~Preparation() {
        if (isKept) return;
        if (descriptorFlags >= 0) fcntl(descriptor, F_SETFD, descriptorFlags);
        if (fileFlags >= 0) fcntl(descriptor, F_SETFL, fileFlags);
    }
    Preparation(const Preparation&) = delete;
    Preparation& operator=(const Preparation&) = delete;

    // Sockets are used with MSG_DONTWAIT, so that their open file is left as its other holders know
    // it.
    int prepare() {
        int type = 0;
        socklen_t size = sizeof type;
        isSocket = getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0;
        if (isSocket && type != SOCK_STREAM) return EPROTOTYPE;
        const int flags = fcntl(descriptor, F_GETFD);
        if (flags < 0 || fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC) < 0) return errno;
        descriptorFlags = flags;
        return isSocket ? 0 : makeNonBlocking();
    }
    void keep() { isKept = true; }

    bool isSocket = false;

  private:
    int makeNonBlocking() {
        const int flags = fcntl(descriptor, F_GETFL);
        if (flags < 0 || fcntl(descriptor, F_SETFL, flags | O_NONBLOCK) < 0) return errno;
        fileFlags = flags;
        return 0;
    }

    const int descriptor;
    int descriptorFlags = -1;  // negative: not changed
    int fileFlags = -1;
    bool isKept = false;
};

void tune(const quarloLink& link) {
    for (const int each : {link.input, link.output}) {
        if (isTcp(each)) tuneTcp(each, link.silenceLimit.load());
    }
}

int make(quarloLink& link, int input, int output) {
    Preparation in(input);
    Preparation out(output);
    int error = in.prepare();
    if (error == 0) error = out.prepare();
    if (error != 0) return error;
    link.wake = newWake();
    if (link.wake < 0) return errno;
    in.keep();
    out.keep();
    link.input = input;
    link.output = output;
    link.isInputSocket = in.isSocket;
    link.isOutputSocket = out.isSocket;
    tune(link);
    return 0;
}

}  // namespace

// A peer that only does not read acknowledges all the same.
bool isSilent(quarloLink& link) {
    const std::uint32_t patience = link.silenceLimit.load() / 10 * 9;
    tcp_info info{};
    socklen_t size = sizeof info;
    const bool isKnown =
        link.isInputSocket && getsockopt(link.input, IPPROTO_TCP, TCP_INFO, &info, &size) == 0;
    if (!isKnown || info.tcpi_unacked == 0) {
        link.unacknowledgedSince = 0;
        return false;
    }
    if (link.unacknowledgedSince == 0) link.unacknowledgedSince = now();
    return now() - link.unacknowledgedSince >= patience && info.tcpi_last_ack_recv >= patience;
}

}  // namespace quarlo::links

using namespace quarlo::links;

quarloLink* quarloLink_FromDescriptors(int input, int output, quarloLinkFailure* failure) {
    auto* link = new (std::nothrow) quarloLink;
    const int error = link != nullptr ? make(*link, input, output) : ENOMEM;
    if (error == 0) return link;
    delete link;
    describe(failure, error, "cannot use", "descriptor");
    return nullptr;
}

eReturnCode quarloLink_SetSilenceLimit(quarloLink* link, UInt32 milliseconds) {
    if (link == nullptr) return eRETURN_NULL_PARAM;
    if (milliseconds == 0) milliseconds = defaultSilenceLimit;
    if (!isSilenceLimit(milliseconds)) return eRETURN_PARAM_VALUE;
    link->silenceLimit.store(milliseconds);
    tune(*link);
    return eRETURN_OKAY;
}

// Serial lines, set up through the kernel's own interface because only that takes any rate.
// Stateless; any thread may call it.
#include <asm/termbits.h>
#include <fcntl.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdlib>

#include "Link.h"
#include "Wait.h"

namespace quarlo::links {
namespace {

void makeRaw(termios2& line, bool useRtsCts) {
    line.c_iflag = 0;
    line.c_oflag = 0;
    line.c_lflag = 0;
    line.c_cflag = CS8 | CREAD | CLOCAL | HUPCL;
    if (useRtsCts) line.c_cflag |= CRTSCTS;
    line.c_cc[VMIN] = 1;
    line.c_cc[VTIME] = 0;
}

void setRate(termios2& line, UInt32 baudRate) {
    line.c_cflag |= BOTHER | (BOTHER << IBSHIFT);
    line.c_ispeed = baudRate;
    line.c_ospeed = baudRate;
}

// Drivers that cannot make a rate silently choose another one.
bool isNear(UInt32 actual, UInt32 wanted) {
    const std::int64_t difference = std::int64_t{actual} - wanted;
    return std::abs(difference) * 100 <= std::int64_t{wanted} * 3;
}

int setUp(int device, UInt32 baudRate, bool useRtsCts) {
    termios2 line{};
    if (ioctl(device, TCGETS2, &line) < 0) return errno;
    if (ioctl(device, TIOCEXCL) < 0) return errno;
    makeRaw(line, useRtsCts);
    setRate(line, baudRate);
    if (ioctl(device, TCSETS2, &line) < 0) return errno;
    if (ioctl(device, TCGETS2, &line) < 0) return errno;
    if (!isNear(line.c_ospeed, baudRate)) return EINVAL;
    discardBuffered(device);
    return 0;
}

}  // namespace

void discardBuffered(int line) {
    ioctl(line, TCFLSH, TCIOFLUSH);
}
}  // namespace quarlo::links

using namespace quarlo::links;

quarloLink* quarloLink_OpenSerial(const char* device, UInt32 baudRate, Flag useRtsCts,
                                  quarloLinkFailure* failure) {
    const char* what = "cannot open serial line";
    if (device == nullptr || baudRate == 0) {
        describe(failure, EINVAL, what, device != nullptr ? device : "(null)");
        return nullptr;
    }
    Descriptor line(open(device, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    int error = line.get() < 0 ? errno : setUp(line.get(), baudRate, useRtsCts == 1);
    quarloLink* link = nullptr;
    if (error == 0) {
        quarloLinkFailure inner{};
        link = quarloLink_FromDescriptors(line.get(), line.get(), &inner);
        error = inner.number;
    }
    if (link == nullptr) {
        describe(failure, error, what, device);
        return nullptr;
    }
    line.release();
    link->isSerial = true;
    link->baudRate = baudRate;
    return link;
}

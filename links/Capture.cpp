#include "Capture.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <new>

#include "Pcapng.h"
#include "Tap.h"
#include "Threads.h"

using namespace quarlo::links;

namespace {

// A block with its comments is smaller.
constexpr std::size_t blockRoom = longestSegment + sizeof(Comments) + 1024;
// Blocks are written when so many bytes wait, or so long after the first of them.
constexpr std::size_t batch = std::size_t{256} << 10;
constexpr auto batchTime = std::chrono::milliseconds(100);
constexpr std::uint32_t patience = 1000;

bool isRegularFile(int descriptor) {
    struct stat status {};
    return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

// SIGPIPE is a thread's own, and stays with this one.
int startWithoutSignals(pthread_t& thread, void* (*body)(void*), void* argument) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = pthread_create(&thread, nullptr, body, argument);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

// What is captured is the driver's: nobody else may read it.
int openFile(const char* path) {
    if (strcmp(path, "-") == 0) return fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    // A day of pictures is more than 32 bits count.
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_LARGEFILE;
    return open(path, flags, S_IRUSR | S_IWUSR);
}

const char* explain(int error) {
    switch (error) {
        case EPIPE:
            return "the reader has gone";
        case ETIMEDOUT:
            return "the reader takes nothing";
        default:
            return nullptr;
    }
}

size_t textOf(int error, char* text, size_t size) {
    char words[96];
    const char* why = explain(error);
    if (why == nullptr) why = wordsFor(error, words, sizeof words);
    const int length = error == 0 ? snprintf(text, size, "%s", "")
                                  : snprintf(text, size, "the capture has ended: %s", why);
    return static_cast<size_t>(std::max(length, 0));
}

}  // namespace

quarloCapture::quarloCapture(int descriptor)
    : file(descriptor),
      isRegular(isRegularFile(descriptor)),
      ring(new (std::nothrow) unsigned char[ringSize]) {}

quarloCapture::~quarloCapture() = default;

int quarloCapture::start() {
    if (!ring) return ENOMEM;
    unsigned char begin[128];
    put(begin, beginFile(begin));
    return startWithoutSignals(thread, threadBody, this);
}

void quarloCapture::finish() {
    {
        const std::lock_guard<std::mutex> guard(lock);
        isFinishing = true;
    }
    work.notify_one();
    pthread_join(thread, nullptr);
}

bool quarloCapture::waitForRoom(std::unique_lock<std::mutex>& guard) {
    const auto hasRoom = [this] { return error != 0 || ringSize - used >= blockRoom; };
    if (!hasRoom()) {
        work.notify_one();
        if (!room.wait_for(guard, std::chrono::milliseconds(patience), hasRoom)) end(ETIMEDOUT);
    }
    return error == 0;
}

void quarloCapture::put(const unsigned char* bytes, std::size_t count) {
    if (count == 0) return;
    const std::size_t at = (first + used) % ringSize;
    const std::size_t toEnd = std::min(count, ringSize - at);
    memcpy(&ring[at], bytes, toEnd);
    memcpy(&ring[0], bytes + toEnd, count - toEnd);
    const std::size_t before = used;
    used += count;
    if (before == 0 || (before < batch && used >= batch)) work.notify_one();
}

std::uint64_t quarloCapture::timeOf(std::uint64_t wallTime) {
    return lastTime = std::max(lastTime, wallTime);
}

int quarloCapture::failure() const {
    const Cancellation before = forbidCancel();
    lock.lock();
    const int number = error;
    lock.unlock();
    permitCancel(before);
    return number;
}

void quarloCapture::end(int number) {
    if (error == 0) error = number;
    used = 0;
    room.notify_all();
    work.notify_one();
}

void* quarloCapture::threadBody(void* capture) {
    pthread_setname_np(pthread_self(), "quarlo CAPTURE");
    static_cast<quarloCapture*>(capture)->run();
    return nullptr;
}

bool quarloCapture::hasWork(std::unique_lock<std::mutex>& guard) {
    const auto isOver = [this] { return isFinishing || error != 0; };
    work.wait(guard, [&] { return isOver() || used != 0; });
    work.wait_for(guard, batchTime, [&] { return isOver() || used >= batch; });
    return used != 0 && error == 0;
}

void quarloCapture::run() {
    std::unique_lock<std::mutex> guard(lock);
    while (hasWork(guard)) {
        const std::size_t at = first;
        const std::size_t count = std::min(used, ringSize - at);
        guard.unlock();
        int problem = 0;
        const std::size_t written = write(at, count, problem);
        guard.lock();
        // Only what stands still long enough for the carriers, or for the end, is given up.
        if (problem == ETIMEDOUT && !isFinishing) continue;
        if (problem != 0) end(problem);
        if (error != 0) break;
        first = (at + written) % ringSize;
        used -= written;
        room.notify_all();
    }
}

// What is no file is only given what it takes at once, so that no write blocks.
std::size_t quarloCapture::write(std::size_t at, std::size_t count, int& problem) const {
    if (!isRegular) {
        const Waited waited = waitFor(file.get(), POLLOUT, -1, after(patience));
        if (waited == Waited::TimedOut) {
            problem = ETIMEDOUT;
            return 0;
        }
        count = std::min(count, std::size_t{PIPE_BUF});
    }
    const ssize_t written = ::write(file.get(), &ring[at], count);
    if (written < 0 && errno != EINTR && errno != EAGAIN) problem = errno;
    return static_cast<std::size_t>(std::max<ssize_t>(written, 0));
}

quarloCapture* quarloCapture_Open(const char* path, quarloLinkFailure* failure) {
    if (path == nullptr) path = "";
    const int descriptor = openFile(path);
    int error = errno;
    if (descriptor >= 0) {
        auto* capture = new (std::nothrow) quarloCapture(descriptor);
        error = capture != nullptr ? capture->start() : ENOMEM;
        if (error == 0) return capture;
        if (capture == nullptr) close(descriptor);
        delete capture;
    }
    describe(failure, error, "cannot open", path);
    return nullptr;
}

size_t quarloCapture_GetFailure(const quarloCapture* capture, char* text, size_t size) {
    return textOf(capture != nullptr ? capture->failure() : 0, text, size);
}

eReturnCode quarloCapture_Close(quarloCapture* capture, quarloLinkFailure* failure) {
    if (capture == nullptr) return eRETURN_NULL_PARAM;
    capture->finish();
    const int error = capture->failure();
    delete capture;
    if (error == 0) return eRETURN_OKAY;
    describe(failure, error, "cannot write", "capture", explain(error));
    return eRETURN_NOT_ALLOWED;
}

eReturnCode quarloLink_SetCapture(quarloLink* link, quarloCapture* capture) {
    if (link == nullptr || capture == nullptr) return eRETURN_NULL_PARAM;
    if (link->tap != nullptr) return eRETURN_ALREADY_IN_LIST;
    Watch* watch = watchOf(*link);
    auto* tap = new (std::nothrow) Tap(*capture, *link);
    if (watch == nullptr || tap == nullptr || !watch->add(tap->observer())) {
        delete tap;
        return eRETURN_MEM_ALLOC;
    }
    link->tap = tap;
    return eRETURN_OKAY;
}

eReturnCode quarloLink_Note(quarloLink* link, const char* text) {
    if (link == nullptr || text == nullptr) return eRETURN_NULL_PARAM;
    if (link->tap == nullptr || link->tap->capture().failure() != 0) return eRETURN_NOT_SUPPORTED;
    return link->tap->note("note", text) ? eRETURN_OKAY : eRETURN_MEM_ALLOC;
}

size_t quarloLink_GetCaptureFailure(const quarloLink* link, char* text, size_t size) {
    const Tap* tap = link != nullptr ? link->tap : nullptr;
    return textOf(tap != nullptr ? tap->capture().failure() : 0, text, size);
}

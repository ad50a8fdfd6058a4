#include "Host.h"

#include <algorithm>

#include "ApiCalls.h"

namespace quarlo::test {

Host::Host(const char* description)
    : instance(quarlo_CreateInstance(static_cast<Listener*>(this), description)) {
    if (instance == nullptr) return;
    attach(instance, *this);
    quarlo_SetTraceClass(instance, static_cast<eTraceClass>(63));
    quarlo_SetInitialisationTimeout(instance, 0);
    registerCallbacks();
    forgetLines();
}

Host::~Host() {
    remove();
}

void Host::registerCallbacks() {
    quarlo_SetProtocolCallback(instance, [](void* context, eProtocolState state) {
        hostOf(context).note(std::string("state ") + _quarlo_getStateName(state));
    });
    quarlo_SetErrorCallback(instance, [](void* context, eErrorCode code) {
        hostOf(context).note(std::string("error ") + _quarlo_getErrorName(code));
    });
    quarlo_SetFrameUpdateStartCallback(instance, [](void* context, UInt8 rectangles) {
        hostOf(context).note("frame start " + std::to_string(rectangles));
    });
    quarlo_SetFrameUpdateCallback(
        instance, [](void* context, UInt8 index, UInt16 x, UInt16 y, UInt16 width, UInt16 height,
                     UInt8* data, UInt32 length) {
            Host& host = hostOf(context);
            {
                const std::lock_guard lock(host.mutex);
                host.lastPixels.assign(data, data + length);
            }
            host.note("frame " + std::to_string(index) + " " + std::to_string(x) + "," +
                      std::to_string(y) + " " + std::to_string(width) + "x" +
                      std::to_string(height) + " #" + std::to_string(length));
        });
    quarlo_SetFrameUpdateEndCallback(instance,
                                     [](void* context) { hostOf(context).note("frame end"); });
}

void Host::start() {
    quarlo_StartMainThread(instance);
}

void Host::remove() {
    quarlo_DeleteInstance(instance);
    instance = nullptr;
}

std::size_t Host::read(UInt8* buffer, std::size_t size) {
    std::unique_lock lock(mutex);
    if (size == 0) ++emptyPolls;
    isWaiting = consumed == incoming.size();
    changed.notify_all();
    changed.wait(lock, [&] { return consumed < incoming.size() || isEnded || mustReturn; });
    isWaiting = false;
    const std::size_t available = incoming.size() - consumed;
    if (available == 0) return isEnded ? static_cast<std::size_t>(endResult) : 0;
    const std::size_t amount = std::min(available, size);
    std::copy_n(incoming.begin() + static_cast<std::ptrdiff_t>(consumed), amount, buffer);
    consumed += amount;
    return amount;
}

void Host::write(const UInt8* buffer, std::size_t size) {
    const std::lock_guard lock(mutex);
    outgoing.emplace_back(buffer, buffer + size);
    changed.notify_all();
}

void Host::traced(eTraceClass traceClass, const char* line) {
    note(std::string(quarlo_getTraceClassPrefix(traceClass)) + line);
}

void Host::heard(const Heard& what) {
    if (what.callback != Callback::EndReceiverRequest) return;
    const std::lock_guard lock(mutex);
    mustReturn = true;
    changed.notify_all();
}

void Host::feed(const Bytes& bytes) {
    const std::lock_guard lock(mutex);
    incoming.insert(incoming.end(), bytes.begin(), bytes.end());
    changed.notify_all();
}

void Host::endLink(std::ptrdiff_t result) {
    const std::lock_guard lock(mutex);
    isEnded = true;
    endResult = result;
    changed.notify_all();
}

void Host::reopenLink() {
    const std::lock_guard lock(mutex);
    isEnded = false;
}

std::size_t Host::polls() const {
    const std::lock_guard lock(mutex);
    return emptyPolls;
}

std::vector<Bytes> Host::sent() const {
    const std::lock_guard lock(mutex);
    return outgoing;
}

std::vector<Bytes> Host::waitForSent(std::size_t count) {
    std::unique_lock lock(mutex);
    changed.wait_for(lock, patience, [&] { return outgoing.size() >= count; });
    return outgoing;
}

void Host::forgetSent() {
    const std::lock_guard lock(mutex);
    outgoing.clear();
}

std::vector<std::string> Host::lines() const {
    const std::lock_guard lock(mutex);
    return seen;
}

std::size_t Host::count(const std::string& line) const {
    const std::lock_guard lock(mutex);
    return static_cast<std::size_t>(std::count(seen.begin(), seen.end(), line));
}

bool Host::has(const std::string& line) const {
    return count(line) != 0;
}

std::vector<std::string> Host::linesWith(const std::string& prefix) const {
    const std::lock_guard lock(mutex);
    std::vector<std::string> result;
    std::copy_if(seen.begin(), seen.end(), std::back_inserter(result),
                 [&](const std::string& line) { return line.rfind(prefix, 0) == 0; });
    return result;
}

bool Host::waitFor(const std::string& line) {
    std::unique_lock lock(mutex);
    return changed.wait_for(
        lock, patience, [&] { return std::find(seen.begin(), seen.end(), line) != seen.end(); });
}

bool Host::waitUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + patience;
    std::unique_lock lock(mutex);
    while (std::chrono::steady_clock::now() < end) {
        lock.unlock();
        const bool isMet = condition();
        lock.lock();
        if (isMet) return true;
        changed.wait_for(lock, std::chrono::milliseconds(2));
    }
    return false;
}

void Host::forgetLines() {
    const std::lock_guard lock(mutex);
    seen.clear();
}

void Host::note(const std::string& line) {
    const std::lock_guard lock(mutex);
    seen.push_back(line);
    changed.notify_all();
}

Bytes Host::pixels() const {
    const std::lock_guard lock(mutex);
    return lastPixels;
}

Bytes Host::serverInit(const std::string& name, const Bytes& softkeys, unsigned capabilities) {
    return packet(14, text(name) + u8(1) + u8(static_cast<unsigned>(softkeys.size())) + softkeys +
                          u32(capabilities) + text("PhoneOS 4") + text("launcher-uuid"));
}

void Host::run() {
    start();
    waitForSent(1);
    feed(packet(2, u8(1)));
    waitForSent(2);
    feed(packet(12, u8(1)) + serverInit() + packet(18, u8(1)));
    waitFor("state RUN");
    // The announcement follows on the next pass.
    feed(packet(128, u32(1)));
    waitUntil([&] { return record()->hasBeenRunning != 0; });
    settle();
}

void Host::settle() {
    waitUntil([&] {
        if (record()->mainThreadRunning == 0) return true;
        const std::lock_guard lock(mutex);
        return isWaiting && consumed == incoming.size();
    });
}

}  // namespace quarlo::test

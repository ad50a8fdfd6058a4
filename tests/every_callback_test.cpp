/*
 * Every call of the host API from inside every callback, on every thread that makes it, about the
 * instance itself, another one that is in the same callback at the same time, and one that stands
 * by: no call hangs, what a callback may not do is refused, and all can be deleted afterwards.
 */
#include <gtest/gtest.h>

#include <functional>

#include "Calls.h"
#include "Levels.h"
#include "Radio.h"
#include "Recording.h"
#include "Supervision.h"
#include "Unit.h"

namespace quarlo::test {
namespace {

/* ---- what is called ---- */

using Move = std::function<void(Unit&, void* handle)>;

void audio(void* handle, UInt32 id, AudioStatus status) {
    quarlo_SetAudioStatus(handle, id, status, eAUDIOREQUESTRESULTCODE_NoError);
}

const std::vector<Move>& moves() {
    static const std::vector<Move> all = [] {
        std::vector<Move> list;
        for (const ApiCall& call : apiCalls) {
            // Calls that begin the library anew are the host's alone; the end of sending comes
            // last.
            if (call.name == "quarlo_Init" || call.name == "quarlo_AnnounceShutdown") continue;
            list.emplace_back([&call](Unit& unit, void* handle) {
                Listening arguments(&unit);
                call.call(handle, arguments);
            });
        }
        for (const Flag isOn : {Flag{1}, Flag{0}, Flag{1}}) {
            list.emplace_back([isOn](Unit&, void* h) { quarlo_EnablePingWatchdog(h, isOn, 100); });
        }
        // The three units' requests, and one that is unknown.
        for (UInt32 id = 11; id <= 14; ++id) {
            for (const AudioStatus status :
                 {eAUDIOSTATUS_Open, eAUDIOSTATUS_Suspend, eAUDIOSTATUS_Open, eAUDIOSTATUS_Close}) {
                list.emplace_back([=](Unit&, void* h) { audio(h, id, status); });
            }
        }
        list.emplace_back([](Unit&, void* h) { quarlo_AnnounceShutdown(h); });
        return list;
    }();
    return all;
}

/* ---- where ---- */

enum class Where { Callback, Receiver, Sender, Trace };

/** How the thread comes to call back. */
enum class Course { Played, Silent, Mute, Deleted, Called };

struct Site {
    std::string name;
    const char* thread;
    Course course;
    Where where = Where::Callback;
    Callback callback = Callback::count;
    UInt32 number = 0;  // the callback's first, if it is to be a certain one
};

constexpr const char* receiver = "quarlo RECEIVER";
constexpr const char* watchdog = "quarlo PING WD";
constexpr const char* initTimer = "quarlo WAITINIT";
constexpr const char* joinTimer = "quarlo WAITJOIN";
constexpr const char* audioTimer = "quarlo AUDIOTIM";
constexpr const char* host = "";  // any thread that is not the library's

std::vector<Site> sites() {
    std::vector<Site> all = {
        {"receiver link", receiver, Course::Played, Where::Receiver},
        {"sender link", receiver, Course::Played, Where::Sender},
        {"ping of the watchdog", watchdog, Course::Silent, Where::Sender},
        {"answer in an audio timeout", audioTimer, Course::Silent, Where::Sender},
        {"call that sends", host, Course::Called, Where::Sender},
        {"trace", receiver, Course::Played, Where::Trace},
        {"trace", watchdog, Course::Silent, Where::Trace},
        {"trace", initTimer, Course::Mute, Where::Trace},
        {"trace", audioTimer, Course::Silent, Where::Trace},
        {"trace", joinTimer, Course::Deleted, Where::Trace},
        {"trace", host, Course::Called, Where::Trace},
    };
    const auto add = [&](Callback callback, const char* thread, Course course, UInt32 number = 0) {
        const std::string name = Heard{callback}.name();
        all.push_back({name + " " + std::to_string(number), thread, course, Where::Callback,
                       callback, number});
    };
    add(Callback::EndReceiverRequest, host, Course::Deleted);
    add(Callback::Protocol, receiver, Course::Played, ePROTOCOL_STATE_RUN);
    add(Callback::Protocol, receiver, Course::Played, ePROTOCOL_STATE_STOP);
    add(Callback::Error, receiver, Course::Played, eERRORCODE_PROTOCOL_STOP);
    add(Callback::Error, watchdog, Course::Silent, eERRORCODE_CONNECTION_TIMEOUT);
    add(Callback::Error, initTimer, Course::Mute, eERRORCODE_INITIALIZATION_TIMEOUT);
    add(Callback::AudioRequest, audioTimer, Course::Silent, eAUDIOCONTROL_Release);
    add(Callback::VehicleDataRequest, host, Course::Called);
    for (auto callback = Callback::OnMainThreadStart; callback != Callback::count;
         callback = static_cast<Callback>(static_cast<unsigned>(callback) + 1)) {
        add(callback, receiver, Course::Played);
    }
    return all;
}

std::string threadName() {
    char name[16] = {};
    pthread_getname_np(pthread_self(), name, sizeof name);
    return name;
}

/* ---- who ---- */

class Actor : public Unit {
  public:
    Actor(const Site& where, unsigned number, Meeting& with)
        : site(where), own(number), meeting(with) {
        const unsigned duration = isOn(audioTimer) ? 1 : 0;
        script = wholeSession();
        script.insert(script.begin(),
                      serverAudio(10 + own, eAUDIOCONTROL_Request, eAUDIOTYPE_Chime, duration));
    }
    void prepare() {
        open();
        quarlo_SetTraceClass(handle, static_cast<eTraceClass>(63));
        quarlo_SetFrameOutputType(handle, site.callback == Callback::FrameUpdateRaw ? 1 : 0);
        if (isOn(watchdog)) quarlo_EnablePingWatchdog(handle, 1, 1);
        if (isOn(watchdog) && site.where == Where::Sender) quarlo_SendPingAckOnWatchdog(handle, 1);
        if (isOn(initTimer)) quarlo_SetInitialisationTimeout(handle, 1);
        if (isOn(joinTimer)) quarlo_SetEndReceiverRequestCallback(handle, nullptr);
    }
    /** Calls on a thread of the host what leads to the site. */
    void callAsHost() {
        UInt32 keys[] = {7, own};
        quarlo_Eng_SetVehicleDataFilter(handle, 1, 2, keys);
        quarlo_SetNightMode(handle, 1);
    }
    [[nodiscard]] bool hasActed() const { return isDone; }
    [[nodiscard]] bool hasPlayed() const { return position.load(relaxed) == script.size(); }
    [[nodiscard]] unsigned refusedDeletes() const { return refusals.load(relaxed); }
    [[nodiscard]] unsigned refusedStarts() const { return starts.load(relaxed); }

    void heard(const Heard& what) override {
        Unit::heard(what);
        const bool isHere = site.where == Where::Callback && what.callback == site.callback &&
                            (site.number == 0 || what.numbers[0] == site.number);
        if (isHere) return actIfHere();
        if (isActing) return;
        if (what.callback == Callback::AudioRequest) {
            const bool isRequest = what.numbers[0] == eAUDIOCONTROL_Request;
            audio(handle, what.numbers[1], isRequest ? eAUDIOSTATUS_Open : eAUDIOSTATUS_Close);
        } else if (what.callback == Callback::AppListChanged) {
            quarlo_RequestAppIcon(handle, sample::url, 1, 1);
            quarlo_StartApp(handle, sample::url, nullptr, nullptr);
        }
    }
    std::size_t read(UInt8* buffer, std::size_t size) override {
        if (site.where == Where::Receiver && isInRun()) actIfHere();
        if (site.course == Course::Mute) size = 0;
        return Unit::read(buffer, size);
    }
    void write(const UInt8* buffer, std::size_t size) override {
        Unit::write(buffer, size);
        if (site.where == Where::Sender && isInRun()) actIfHere();
    }
    void traced(eTraceClass traceClass, const char* line) override {
        Unit::traced(traceClass, line);
        const std::string_view text(line);
        if (text == "DeleteInstance - not allowed in a callback; ignored.") refusals.fetch_add(1);
        if (text.starts_with("StartMainThread - not allowed here")) starts.fetch_add(1);
        if (site.where == Where::Trace && hasBegun) actIfHere();
    }

    std::vector<Unit*> about;           // whom it calls
    std::atomic<bool> hasBegun{false};  // what is traced before is not the site

  protected:
    Bytes speak() override {
        if (position < script.size()) return script[position++];
        if (site.course == Course::Played) endLink(-1);
        return {};
    }

  private:
    [[nodiscard]] bool isOn(const char* thread) const {
        return std::string_view(site.thread) == thread;
    }
    void actIfHere() {
        const std::string name = threadName();
        const bool isHere = isOn(host) ? !name.starts_with("quarlo ") : name == site.thread;
        if (!isHere || isActing.exchange(true)) return;
        act();
    }
    void act() {
        meeting.meet(std::chrono::seconds(50));
        for (Unit* const unit : about) {
            for (const Move& move : moves()) move(*unit, unit->handle);
        }
        meeting.meet(std::chrono::seconds(50));
        isDone = true;
    }

    const Site& site;
    const unsigned own;
    Meeting& meeting;
    std::vector<Bytes> script;
    std::atomic<std::size_t> position{0};
    std::atomic<bool> isActing{false};
    std::atomic<bool> isDone{false};
    std::atomic<unsigned> refusals{0};
    std::atomic<unsigned> starts{0};
};

/** Two that act and one that stands by. */
class Scene {
  public:
    explicit Scene(const Site& where) : site(where) {
        first.about = {&first, &second, &third};
        second.about = {&second, &first, &third};
        for (Actor* actor : {&first, &second, &third}) actor->prepare();
        quarlo_EnablePingWatchdog(third.handle, 1, 100);
        for (Actor* actor : {&first, &second, &third}) {
            actor->hasBegun = std::string_view(site.thread) != host;
            actor->start();
        }
    }
    void play() {
        const bool needsHost = site.course == Course::Called || site.course == Course::Deleted;
        if (needsHost) {
            for (const Actor* actor : {&first, &second}) {
                EXPECT_TRUE(waitFor([&] { return actor->hasPlayed(); }));
            }
            std::thread other([&] { bring(second); });
            bring(first);
            other.join();
        }
        // Whoever is reached waits for the other: without him nothing can go on.
        const std::string what = "never reached: " + site.name + " on thread " + site.thread;
        for (const Actor* actor : {&first, &second}) {
            require(waitFor([&] { return actor->hasActed(); }), what.c_str());
        }
    }
    Scene(const Scene&) = delete;
    Scene& operator=(const Scene&) = delete;
    void expectRefusals() const {
        // Each of the two has tried it once.
        for (const Actor* actor : {&first, &second, &third}) {
            EXPECT_EQ(actor->refusedDeletes(), 2U);
        }
        // A receiver cannot wait for itself.
        EXPECT_TRUE(first.refusedStarts() > 0 || site.callback != Callback::OnMainThreadEnd);
    }
    ~Scene() {
        for (Actor* actor : {&first, &second, &third}) {
            if (actor->handle != nullptr) actor->close();
        }
    }

  private:
    void bring(Actor& actor) const {
        actor.hasBegun = true;
        if (site.course == Course::Called) return actor.callAsHost();
        actor.close();
    }

    const Site& site;
    Meeting meeting{2};
    const Site standsBy{"", "none", Course::Silent};
    Actor first{site, 1, meeting};
    Actor second{site, 2, meeting};
    Actor third{standsBy, 3, meeting};
};

TEST(EveryCallback, MayCallEverything) {
    for (const Site& site : sites()) {
        SCOPED_TRACE(site.name + " on thread " + site.thread);
        const std::size_t files = soak::entriesOf("/proc/self/fd");
        {
            const Library library;
            Scene scene(site);
            scene.play();
            if (site.where != Where::Trace) scene.expectRefusals();
        }
        EXPECT_EQ(soak::entriesOf("/proc/self/fd"), files) << "a dump was left open";
        EXPECT_EQ(supervision::unjoined(), 0);
        EXPECT_EQ(supervision::wrongJoins(), 0);
    }
}

}  // namespace
}  // namespace quarlo::test

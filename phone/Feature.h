/**
 * @file
 * A feature is one file: it registers itself for packet types in its constructor and acts when they
 * arrive or when its time has come. Everything runs on the session's thread. Features do not know
 * each other; what several need lies in the session.
 */
#ifndef PHONE_FEATURE_H
#define PHONE_FEATURE_H

#include <chrono>
#include <memory>
#include <vector>

namespace quarlo::phone {

class Session;
using TimePoint = std::chrono::steady_clock::time_point;

class Feature {
  public:
    virtual ~Feature() = default;
    /** The handshake has been completed, a moment ago. */
    virtual void begin(TimePoint) {}
    /** Called in every round of a running session. */
    virtual void tick(TimePoint) {}
    /** When `tick` has something to do if nothing arrives until then. */
    virtual TimePoint nextWake() const { return TimePoint::max(); }
};

std::unique_ptr<Feature> makeHandshake(Session& session);
std::unique_ptr<Feature> makePing(Session& session);
std::unique_ptr<Feature> makeFrameSettings(Session& session);
std::unique_ptr<Feature> makeFrameUpdates(Session& session);
std::unique_ptr<Feature> makeInput(Session& session);
std::unique_ptr<Feature> makeVehicle(Session& session);
std::unique_ptr<Feature> makeServices(Session& session);
std::unique_ptr<Feature> makeAudio(Session& session);
std::unique_ptr<Feature> makeCatalogue(Session& session);
std::unique_ptr<Feature> makeCustomData(Session& session);

/** Everything the phone can do; a new feature adds its line here. */
inline std::vector<std::unique_ptr<Feature>> makeFeatures(Session& session) {
    std::vector<std::unique_ptr<Feature>> features;
    for (const auto make :
         {makeHandshake, makePing, makeInput, makeVehicle, makeServices, makeAudio, makeCatalogue,
          makeCustomData, makeFrameSettings, makeFrameUpdates})
        features.push_back(make(session));
    return features;
}

}  // namespace quarlo::phone

#endif

/* The steps of an input of the target api: what the seeds need to know by name. */
#ifndef QUARLO_FUZZ_APISTEPS_H
#define QUARLO_FUZZ_APISTEPS_H

namespace quarlo::fuzz::step {

/* The highest bit of a step is the instance. */
constexpr unsigned secondInstance = 0x80;
/* That of a reaction: the others have their turns first. */
constexpr unsigned takeTime = 0x80;

enum Lifecycle : unsigned {
    Open,
    Start,
    Close,
    Connect,
    Turn,
    Turns,
    EndLink,
    Callbacks,
    AnnounceShutdown,
    RefuseAllocation,
    RefuseThread,
    React,
    HearMany,
    Hear,
    lifecycleSteps
};

/* The first entries of the table of calls. */
enum Call : unsigned {
    SetClientCapabilities = lifecycleSteps,
    SetAudioStatus,
    VehicleData,
    RequestAppIcon,
    CreateAppInfoList,
    DeleteAppInfoList,
    EnablePingWatchdog,
    SetPixelFormatEx
};

/* At least as many as there are calls; the steps behind the last begin again. */
constexpr unsigned mostCalls = 56;

}  // namespace quarlo::fuzz::step

#endif

/*
 * The host's end of an instance: every callback reads all that it is given, tells its listener, and
 * reads it once more, for it stays valid until the callback returns, whatever the host does in it.
 */
#ifndef QUARLO_TESTS_LISTENER_H
#define QUARLO_TESTS_LISTENER_H

#include <array>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>

#include "Look.h"
#include "QUARLO-Core-Types.h"

namespace quarlo::test {

/* The names of the callbacks, as in quarlo_Set<name>Callback: those of features, and all. */
#define QUARLO_EACH_FEATURE_CALLBACK(X) \
    X(FrameUpdateStart)                 \
    X(FrameUpdate)                      \
    X(FrameUpdateRaw)                   \
    X(FrameUpdateEnd)                   \
    X(BlockStatus)                      \
    X(VehicleDataRequest)               \
    X(AudioRequest)                     \
    X(PhonecallStatus)                  \
    X(AppTransitionStatus)              \
    X(AppInactive)                      \
    X(LauncherState)                    \
    X(PTTAvailable)                     \
    X(InitiatePhoneCall)                \
    X(NavigateTo)                       \
    X(VoiceSessionRequest)              \
    X(AppListChanged)                   \
    X(AppIconResponse)                  \
    X(AppStartedResponse)               \
    X(CustomDataString)                 \
    X(CustomDataInt)                    \
    X(CustomDataKey)                    \
    X(CustomDataCan)                    \
    X(CustomDataRaw)
#define QUARLO_EACH_CALLBACK(X) \
    X(EndReceiverRequest)       \
    X(Protocol)                 \
    X(Error)                    \
    X(OnMainThreadStart)        \
    X(OnMainThreadEnd)          \
    QUARLO_EACH_FEATURE_CALLBACK(X)

enum class Callback : unsigned {
#define QUARLO_ENUMERATE(name) name,
    QUARLO_EACH_CALLBACK(QUARLO_ENUMERATE)
#undef QUARLO_ENUMERATE
        count
};

/** A callback that came, and its numbers and enumerators in order. */
struct Heard {
    Callback callback;
    std::array<UInt32, 12> numbers{};
    const void* given = nullptr;
    std::string (*describe)(const void* given) = nullptr;

    /** All that was given, in words; no texts are kept for listeners that do not ask. */
    [[nodiscard]] std::string line() const { return name() + describe(given); }

    [[nodiscard]] const char* name() const {
#define QUARLO_NAME(name) #name,
        static constexpr const char* names[] = {QUARLO_EACH_CALLBACK(QUARLO_NAME)};
#undef QUARLO_NAME
        return names[static_cast<unsigned>(callback)];
    }
};

/** To be given as connection and as callback context of an instance. */
class Listener {
  public:
    virtual ~Listener() = default;
    virtual void heard(const Heard& what) = 0;
    /** The receiver link. */
    virtual std::size_t read(UInt8* buffer, std::size_t size) = 0;
    /** The sender link. */
    virtual void write(const UInt8* buffer, std::size_t size) = 0;
    virtual void traced(eTraceClass, const char*) {}
};

inline Listener& listenerOf(void* context) {
    return *static_cast<Listener*>(context);
}

/**
 * Which parameter says how many values a pointer leads to: the number behind it, or else the one
 * before it; none for the index of the pointer itself.
 */
template <std::size_t at, class Tuple>
constexpr std::size_t countOf() {
    constexpr std::size_t next = at + 1 < std::tuple_size_v<Tuple> ? at + 1 : at;
    constexpr std::size_t before = at > 0 ? at - 1 : at;
    if (std::is_integral_v<std::tuple_element_t<next, Tuple>>) return next;
    return std::is_integral_v<std::tuple_element_t<before, Tuple>> ? before : at;
}

inline std::array<const char*, 7> textsOf(const LocationStrings& place) {
    return {place.Country, place.StateRegion, place.ZipCode,    place.City,
            place.Street,  place.CrossStreet, place.Housenumber};
}

inline void lookAtPlace(const LocationStrings* place) {
    if (place == nullptr) return;
    unsigned bit = 1;
    for (const char* text : textsOf(*place)) {
        require((place->validMask & bit) == 0 || text != nullptr, "a valid text is null");
        lookAtText(text);
        bit <<= 1;
    }
}

template <std::size_t at, class Tuple>
void lookAtParameter(const Tuple& given) {
    using T = std::tuple_element_t<at, Tuple>;
    [[maybe_unused]] const T value = std::get<at>(given);
    if constexpr (std::is_same_v<T, char*> || std::is_same_v<T, const char*>) {
        lookAtText(value);
    } else if constexpr (std::is_same_v<T, LocationStrings*>) {
        lookAtPlace(value);
    } else if constexpr (std::is_same_v<T, AppIconResponse*>) {
        lookAtText(value->IdentifierURL);
        look(value->uncompressedData, value->uncompressedDataLength);
    } else if constexpr (std::is_pointer_v<T>) {
        look(value, sizeof *value * std::get<countOf<at, Tuple>()>(given));
    }
}

template <class... P>
void lookAtAll(const std::tuple<P...>& given) {
    [&]<std::size_t... at>(std::index_sequence<at...>) {
        (lookAtParameter<at>(given), ...);
    }
    (std::index_sequence_for<P...>());
}

/* ---- what was given, in words ---- */

inline std::string wordOf(const char* text) {
    return text == nullptr ? " -" : std::string(" ") + text;
}

inline std::string wordOf(double number) {
    char word[32];
    std::snprintf(word, sizeof word, " %g", number);
    return word;
}

inline std::string wordOf(const LocationStrings* place) {
    if (place == nullptr) return " -";
    std::string words = " mask " + std::to_string(place->validMask);
    for (const char* text : textsOf(*place)) words += wordOf(text);
    return words;
}

template <class T>
std::string wordOf(const T* values, std::size_t count) {
    if (values == nullptr) return " -";
    std::string words = " [";
    for (std::size_t i = 0; i < count; ++i) words += " " + std::to_string(values[i]);
    return words + " ]";
}

template <std::size_t at, class Tuple>
std::string wordAt(const Tuple& given) {
    using T = std::tuple_element_t<at, Tuple>;
    const T value = std::get<at>(given);
    if constexpr (std::is_enum_v<T> || std::is_integral_v<T>) {
        return " " + std::to_string(static_cast<UInt32>(value));
    } else if constexpr (std::is_same_v<T, AppIconResponse*>) {
        return wordOf(value->IdentifierURL) + " " + std::to_string(value->UniqueIconID) +
               wordOf(value->uncompressedData, value->uncompressedDataLength);
    } else if constexpr (std::is_convertible_v<T, const UInt8*> ||
                         std::is_convertible_v<T, const UInt32*>) {
        return wordOf(value, std::get<countOf<at, Tuple>()>(given));
    } else {
        return wordOf(value);
    }
}

template <class... P>
std::string describeAll(const void* given) {
    const auto& tuple = *static_cast<const std::tuple<P...>*>(given);
    return [&]<std::size_t... at>(std::index_sequence<at...>) {
        return (std::string() + ... + wordAt<at>(tuple));
    }
    (std::index_sequence_for<P...>());
}

/** Where the library's call arrives. */
template <Callback callback, class... P>
void enter(void* context, P... parameters) {
    const std::tuple<P...> given(parameters...);
    Heard what{.callback = callback, .given = &given, .describe = &describeAll<P...>};
    [[maybe_unused]] std::size_t count = 0;
    [[maybe_unused]] const auto note = [&](auto value) {
        if constexpr (std::is_integral_v<decltype(value)> || std::is_enum_v<decltype(value)>) {
            what.numbers[count++] = static_cast<UInt32>(value);
        }
    };
    (note(parameters), ...);
    lookAtAll(given);
    listenerOf(context).heard(what);
    lookAtAll(given);
}

/** The function for a setter, or null without a listener. */
template <Callback callback, class Result, class... P>
auto entryOf(Result (*)(void*, void (*)(void*, P...)), const Listener* listener) {
    return listener == nullptr ? nullptr : &enter<callback, P...>;
}

}  // namespace quarlo::test

#endif

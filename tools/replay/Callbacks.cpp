#include "Callbacks.h"

#include <array>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "QUARLO-Core.h"
#include "common/Names.h"
#include "quarlo-links.h"

namespace quarlo::replay {
namespace {

// The callbacks, with the names of their parameters as in the public header.
#define QUARLO_EACH_CALLBACK(X)                                                            \
    X(Protocol, "state")                                                                   \
    X(Error, "code")                                                                       \
    X(FrameUpdateStart, "numberOfRectangles")                                              \
    X(FrameUpdate, "rectangleIndex", "x", "y", "width", "height", "data", "dataLength")    \
    X(FrameUpdateRaw, "rectangleIndex", "x", "y", "width", "height", "data", "dataLength", \
      "scalingPercentageHorizontal", "scalingPercentageVertical", "format", "endianess",   \
      "compression")                                                                       \
    X(FrameUpdateEnd)                                                                      \
    X(BlockStatus, "isOn")                                                                 \
    X(VehicleDataRequest, "isOn", "numberOfKeys", "keys")                                  \
    X(AudioRequest, "command", "requestID", "type")                                        \
    X(PhonecallStatus, "isOn")                                                             \
    X(AppTransitionStatus, "isOn")                                                         \
    X(AppInactive, "isOn")                                                                 \
    X(LauncherState, "state")                                                              \
    X(PTTAvailable, "isOn")                                                                \
    X(InitiatePhoneCall, "number", "displayName")                                          \
    X(NavigateTo, "displayName", "type", "longitude", "latitude", "location")              \
    X(VoiceSessionRequest, "request")                                                      \
    X(AppListChanged)                                                                      \
    X(AppIconResponse, "icon")                                                             \
    X(AppStartedResponse, "identifierURL", "status")                                       \
    X(CustomDataString, "type", "encoding", "text")                                        \
    X(CustomDataInt, "type", "length", "value")                                            \
    X(CustomDataKey, "type", "code")                                                       \
    X(CustomDataCan, "type", "identifier", "dataLengthCode", "data")                       \
    X(CustomDataRaw, "opcode", "identifier", "length", "data")

struct Callback {
    std::string_view event;
    std::array<const char*, 12> parameters;
};

constexpr Callback callbacks[] = {
#define QUARLO_DESCRIBE(name, ...) {#name, {__VA_ARGS__}},
    QUARLO_EACH_CALLBACK(QUARLO_DESCRIBE)
#undef QUARLO_DESCRIBE
};

enum Index : std::size_t {
#define QUARLO_INDEX(name, ...) index##name,
    QUARLO_EACH_CALLBACK(QUARLO_INDEX)
#undef QUARLO_INDEX
};

std::string jsonOfPlace(const LocationStrings* place) {
    if (place == nullptr) return "null";
    Line line;
    line.add("validMask", jsonOf(std::uint64_t{place->validMask}));
    line.add("Country", jsonOf(place->Country));
    line.add("StateRegion", jsonOf(place->StateRegion));
    line.add("ZipCode", jsonOf(place->ZipCode));
    line.add("City", jsonOf(place->City));
    line.add("Street", jsonOf(place->Street));
    line.add("CrossStreet", jsonOf(place->CrossStreet));
    line.add("Housenumber", jsonOf(place->Housenumber));
    return line.whole();
}

std::string jsonOfIcon(const AppIconResponse& icon) {
    Line line;
    line.add("IdentifierURL", jsonOf(icon.IdentifierURL));
    line.add("UniqueIconID", jsonOf(std::uint64_t{icon.UniqueIconID}));
    line.add("uncompressedDataLength", jsonOf(std::uint64_t{icon.uncompressedDataLength}));
    line.add("uncompressedData", jsonOfBytes(icon.uncompressedData, icon.uncompressedDataLength));
    return line.whole();
}

template <class T>
std::string jsonOfNumbers(const T* numbers, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; numbers != nullptr && i < count; ++i) {
        text += (i == 0 ? "" : ", ") + std::to_string(numbers[i]);
    }
    return "[" + text + "]";
}

template <class T>
std::string jsonOfEnumerator(T value) {
    if constexpr (std::is_same_v<T, eProtocolState>) {
        return jsonOfName(quarloName_OfState(value));
    } else if constexpr (std::is_same_v<T, eErrorCode>) {
        return jsonOfName(quarloName_OfError(value));
    } else {
        return jsonOfName(wireName(value));
    }
}

// The number behind a pointer says how many values it leads to, or else the one before it.
template <std::size_t at, class Tuple>
std::size_t countAt(const Tuple& given) {
    constexpr std::size_t next = at + 1 < std::tuple_size_v<Tuple> ? at + 1 : at;
    constexpr bool isNext = std::is_integral_v<std::tuple_element_t<next, Tuple>>;
    return static_cast<std::size_t>(std::get < isNext ? next : at - 1 > (given));
}

template <std::size_t at, class Tuple>
std::string jsonOfParameter(const Tuple& given) {
    using T = std::tuple_element_t<at, Tuple>;
    const T value = std::get<at>(given);
    if constexpr (std::is_same_v<T, char*> || std::is_same_v<T, const char*> ||
                  std::is_same_v<T, double>) {
        return jsonOf(value);
    } else if constexpr (std::is_same_v<T, LocationStrings*>) {
        return jsonOfPlace(value);
    } else if constexpr (std::is_same_v<T, AppIconResponse*>) {
        return jsonOfIcon(*value);
    } else if constexpr (std::is_same_v<T, UInt8*>) {
        return jsonOfBytes(value, countAt<at>(given));
    } else if constexpr (std::is_pointer_v<T>) {
        return jsonOfNumbers(value, countAt<at>(given));
    } else if constexpr (std::is_enum_v<T>) {
        return jsonOfEnumerator(value);
    } else {
        return jsonOf(std::uint64_t{value});
    }
}

template <Index index, class... P>
void enter(void* context, P... parameters) {
    const std::tuple<P...> given(parameters...);
    constexpr Callback callback = callbacks[index];
    Line line;
    [&]<std::size_t... at>(std::index_sequence<at...>) {
        (line.add(callback.parameters[at], jsonOfParameter<at>(given)), ...);
    }
    (std::index_sequence_for<P...>());
    static_cast<Listener*>(context)->heard(std::string(callback.event), line);
}

template <Index index, class Result, class... P>
void set(void* instance, Result (*setter)(void*, void (*)(void*, P...))) {
    setter(instance, enter<index, P...>);
}

std::string jsonOfApp(const AppInfo& app) {
    Line line;
    const std::string language(app.arrLanguage, app.arrLanguage + sizeof app.arrLanguage);
    line.add("IdentifierURL", jsonOf(app.IdentifierURL));
    line.add("Name", jsonOf(app.Name));
    line.add("UniqueIconID", jsonOf(std::uint64_t{app.UniqueIconID}));
    line.add("Manufacturer", jsonOf(app.Manufacturer));
    line.add("Description", jsonOf(app.Description));
    line.add("Categories",
             jsonOfNumbers(app.Categories->Categories, app.Categories->NumberOfCategories));
    line.add("InstStatus", jsonOfEnumerator(app.InstStatus));
    line.add("IsAbleToLaunchApps", jsonOf(std::uint64_t{app.IsAbleToLaunchApps}));
    line.add("arrLanguage", jsonOf(language.c_str()));
    return line.whole();
}

}  // namespace

void setCallbacks(void* instance, Listener& listener) {
    quarlo_SetCallbackContext(instance, &listener);
#define QUARLO_SET(name, ...) set<index##name>(instance, quarlo_Set##name##Callback);
    QUARLO_EACH_CALLBACK(QUARLO_SET)
#undef QUARLO_SET
}

std::string appsOf(void* instance) {
    UInt32 count = 0;
    AppInfoList* list = nullptr;
    if (quarlo_CreateAppInfoList(instance, &count, &list) != eRETURN_OKAY) return {};
    std::string text;
    for (unsigned i = 0; i < list->NumberOfEntries; ++i) {
        text += (i == 0 ? "" : ", ") + jsonOfApp(*list->Entries[i]);
    }
    quarlo_DeleteAppInfoList(instance, list);
    return "[" + text + "]";
}

}  // namespace quarlo::replay

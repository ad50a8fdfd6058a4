/*
 * Every call of the host API once, with arguments of a sample that is good in RUN: for whoever
 * calls everything. Where arguments come from is up to the caller; the samples are the default.
 */
#ifndef QUARLO_TESTS_APICALLS_H
#define QUARLO_TESTS_APICALLS_H

#include <deque>
#include <string_view>

#include "Listener.h"
#include "QUARLO-Core-Engineering-Types.h"

namespace quarlo::test {

/** The arguments of one call, which live as long as it. */
class Arguments {
  public:
    Arguments() = default;
    virtual ~Arguments() = default;
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    /** A number or enumerator of so many bytes. */
    virtual std::uint64_t number(std::uint64_t sample, std::size_t) { return sample; }
    virtual char* text(const char* sample) { return const_cast<char*>(sample); }
    /** So many bytes, which the call may write to; without a sample zeros. */
    virtual void* bytes(const void* sample, std::size_t size) {
        const Exact& block = blocks.emplace_back(size);
        if (sample != nullptr) std::memcpy(block.data(), sample, size);
        return block.data();
    }
    virtual KeyValueList* pairs(KeyValueList* sample) { return sample; }
    /** Who is set as a callback's receiver; null sets no callback. */
    virtual Listener* listener() { return nullptr; }
    struct Dump {
        Flag isStandardDevice;
        char* file;
    };
    virtual Dump dump() { return {0, text("/dev/null")}; }
    /** Takes the host's copy of the app catalogue, which is deleted at once if it does not. */
    virtual bool keeps(AppInfoList*) { return false; }
    virtual AppInfoList* kept() { return nullptr; }
    /** What the library handed out, as long as nobody else calls. */
    virtual void returned(const void*, std::size_t) {}

  protected:
    std::deque<Exact> blocks;
};

/** What a call is about. */
enum class About {
    Library,   ///< the library as a whole, or a new instance
    Values,    ///< nothing but its arguments
    Life,      ///< start and end of an instance
    Links,     ///< what a host sets once, before the start
    Callback,  ///< which callback is called
    Feature,   ///< what the library keeps, and packets that depend on it
    Packet     ///< exactly one packet in RUN
};

struct ApiCall {
    std::string_view name;
    About about;
    long (*call)(void* handle, Arguments& arguments);
    long whenNull;  ///< the result for a null handle
};

/* ---- how a line of the table calls ---- */

template <class Result>
long resultOf(Result result) {
    if constexpr (std::is_pointer_v<Result>) {
        return result == nullptr ? 0 : 1;
    } else {
        return static_cast<long>(result);
    }
}

template <class Result, class... P>
constexpr long nullResultOf(Result (*)(P...)) {
    return std::is_same_v<Result, eReturnCode> ? long{eRETURN_NULL_HANDLE} : 0;
}

template <class T>
constexpr bool isNumber = std::is_integral_v<T> || std::is_enum_v<T>;

/** Handles and callbacks. */
template <class T>
constexpr bool isGivenAsItIs =
    std::is_same_v<T, void*> || std::is_function_v<std::remove_pointer_t<T>>;

/** A parameter from its sample: numbers first, then what they are the lengths of. */
template <std::size_t at, bool areNumbers, class Values, class Samples>
void draw(Arguments& arguments, Values& values, const Samples& samples) {
    using T = std::tuple_element_t<at, Values>;
    T& value = std::get<at>(values);
    const auto sample = std::get<at>(samples);
    if constexpr (isNumber<T> != areNumbers) {
        return;
    } else if constexpr (isNumber<T>) {
        value = static_cast<T>(
            arguments.number(static_cast<std::uint64_t>(static_cast<T>(sample)), sizeof(T)));
    } else if constexpr (std::is_same_v<T, char*> || std::is_same_v<T, const char*>) {
        value = arguments.text(sample);
    } else if constexpr (std::is_same_v<T, KeyValueList*>) {
        value = arguments.pairs(sample);
    } else if constexpr (isGivenAsItIs<T>) {
        value = sample;
    } else {
        constexpr std::size_t count = countOf<at, Values>();
        std::size_t length = 1;
        if constexpr (count != at) length = std::get<count>(values);
        value = static_cast<T>(arguments.bytes(sample, length * sizeof *value));
    }
}

template <class Result, class... P, class... S>
long invoke(Result (*function)(P...), Arguments& arguments, const std::tuple<S...>& samples) {
    static_assert(sizeof...(P) == sizeof...(S), "a sample for each parameter");
    std::tuple<P...> values;
    [&]<std::size_t... at>(std::index_sequence<at...>) {
        (draw<at, true>(arguments, values, samples), ...);
        (draw<at, false>(arguments, values, samples), ...);
    }
    (std::index_sequence_for<P...>());
    if constexpr (std::is_void_v<Result>) {
        std::apply(function, values);
        return 0;
    } else {
        return resultOf(std::apply(function, values));
    }
}

inline long invokeDump(void* handle, Arguments& arguments) {
    const auto isOn = static_cast<Flag>(arguments.number(1, 1));
    const Arguments::Dump dump = arguments.dump();
    quarlo_SetDumpProperties(handle, isOn, dump.isStandardDevice, 1, dump.file);
    return 0;
}

inline long invokeGetText(UInt16 (*get)(void*, char*, UInt16), void* handle, Arguments& arguments) {
    const auto size = static_cast<UInt16>(arguments.number(64, sizeof(UInt16)));
    char* const buffer = static_cast<char*>(arguments.bytes(nullptr, size));
    const UInt16 length = get(handle, buffer, size);
    require(length == 0 || length < size, "a text longer than its buffer");
    if (buffer != nullptr) look(buffer, length);
    return length;
}

inline long invokeGetSoftkeys(void* handle, Arguments& arguments) {
    const auto given = arguments.number(0, 1);
    UInt8 count = 0;
    Softkey* keys = nullptr;
    quarlo_GetAvailableSoftkeys(handle, (given & 1) == 0 ? &count : nullptr,
                                (given & 2) == 0 ? &keys : nullptr);
    if ((given & 1) == 0 && keys != nullptr) arguments.returned(keys, count);
    return count;
}

inline void lookAtApps(const AppInfoList* apps) {
    for (unsigned i = 0; apps != nullptr && i < apps->NumberOfEntries; ++i) {
        const AppInfo* app = apps->Entries[i];
        if (app == nullptr) continue;
        for (const char* text :
             {app->IdentifierURL, app->Name, app->Manufacturer, app->Description})
            lookAtText(text);
        const CategoryList* list = app->Categories;
        if (list != nullptr) look(list->Categories, list->NumberOfCategories * sizeof(UInt32));
    }
}

inline long invokeCreateApps(void* handle, Arguments& arguments) {
    const auto given = arguments.number(0, 1);
    UInt32 count = 0;
    AppInfoList* list = nullptr;
    const eReturnCode code = quarlo_CreateAppInfoList(handle, (given & 1) == 0 ? &count : nullptr,
                                                      (given & 2) == 0 ? &list : nullptr);
    if (code != eRETURN_OKAY) return code;
    lookAtApps(list);
    if (!arguments.keeps(list)) quarlo_DeleteAppInfoList(handle, list);
    return code;
}

/* ---- the table ---- */

namespace sample {
inline TouchEvent touches[] = {{eTOUCHTYPE_Down, 1, 2, 1}, {eTOUCHTYPE_Moved, 3, 4, 2}};
inline UInt32 keys[] = {5, 42, 6};
inline UInt8 bytes[] = {1, 2, 3, 4, 5, 6, 7, 8};
inline ClientCustomDataIntType types[] = {eCLIENTCUSTOMDATAINTTYPE_ScreenTest};
inline ClientCustomDataKeyCode codes[] = {eCLIENTCUSTOMDATAKEYCODE_Ok,
                                          eCLIENTCUSTOMDATAKEYCODE_Back};
inline char key[] = "key";
inline KeyValue entry{key, key};
inline KeyValueList pairs{1, &entry};
constexpr UInt32 request = 1;
constexpr UInt16 identifier = 0x777;
constexpr const char* url = "a://1";
}  // namespace sample

inline std::size_t readLink(void*, UInt8* buffer, std::size_t size, void* connection) {
    return listenerOf(connection).read(buffer, size);
}
inline void sendLink(void*, UInt8* buffer, std::size_t size, void* connection) {
    listenerOf(connection).write(buffer, size);
}
inline void traceLink(void* context, eTraceClass traceClass, char* text) {
    listenerOf(context).traced(traceClass, text);
}

#define QUARLO_API_LINE(about, function, whenNull, expression)                    \
    ApiCall{#function, About::about,                                              \
            []([[maybe_unused]] void* h, [[maybe_unused]] Arguments& a) -> long { \
                return expression;                                                \
            },                                                                    \
            whenNull},
inline constexpr ApiCall apiCalls[] = {
#include "ApiCalls.def"
};
#undef QUARLO_API_LINE

/** A line of the table; the program does not compile, or ends, when there is none. */
constexpr const ApiCall& apiCall(std::string_view name) {
    for (const ApiCall& call : apiCalls) {
        if (call.name == name) return call;
    }
    require(false, "no such call");
    return apiCalls[0];
}

/** Calls every line about something. */
inline void callAll(About about, void* handle, Arguments& arguments) {
    for (const ApiCall& call : apiCalls) {
        if (call.about == about) call.call(handle, arguments);
    }
}

/** Arguments of setters: whoever listens. */
class Listening : public Arguments {
  public:
    explicit Listening(Listener* whoever) : who(whoever) {}
    Listener* listener() override { return who; }

  private:
    Listener* who;
};

/** Sets links, trace output, end-receiver request and context. */
inline void attach(void* handle, Listener& listener) {
    Listening arguments(&listener);
    callAll(About::Links, handle, arguments);
}

/** Registers every other callback. */
inline void listen(void* handle, Listener& listener) {
    Listening arguments(&listener);
    callAll(About::Callback, handle, arguments);
}

}  // namespace quarlo::test

#endif

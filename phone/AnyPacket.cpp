// The visitors set and tell the fields of a packet by name; behind AnyPacket stands each packet as
// its own type.
#include "AnyPacket.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "NamedFields.h"
#include "RecordsOnly.h"
#include "common/Names.h"
#include "common/Words.h"

namespace quarlo::phone {
namespace {

using wire::Heap;
using wire::Scalar;
using Fields = AnyPacket::Fields;

constexpr std::uint64_t mostEntries = 256;
constexpr std::size_t longestRun = std::size_t{1024} * 1024;

/// Gives every member record memory that has none, at every depth.
struct Complete : RecordsOnly {
    using RecordsOnly::operator();

    template <class R>
    bool operator()(R*& member) {
        if (member == nullptr) member = Heap::make<R>();
        return member != nullptr && wire::Layout<R>::each(*member, *this);
    }
    template <Scalar C, class R>
    bool operator()(C& count, R**& list) {
        for (std::uint64_t i = 0; list != nullptr && i < count; ++i) {
            if (!(*this)(list[i])) return false;
        }
        return true;
    }
};

template <Scalar T>
std::string textOf(T value) {
    if constexpr (std::is_enum_v<T>) {
        for (const NamedValue& entry : valuesOf(std::type_identity<T>())) {
            if (entry.value == static_cast<unsigned>(value)) return std::string(entry.name());
        }
        return std::to_string(static_cast<unsigned>(value));
    } else {
        return std::to_string(value);
    }
}

template <class Number>
std::optional<Number> numberOf(std::string_view text) {
    const bool isHexadecimal = text.starts_with("0x");
    if (isHexadecimal) text.remove_prefix(2);
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, isHexadecimal ? 16 : 10);
    if (error != std::errc() || stop != end) return {};
    return number;
}

template <Scalar T>
std::optional<T> valueOf(std::string_view text) {
    if constexpr (std::is_enum_v<T>) {
        if (const auto value = wireValue<T>(text)) return value;
        const auto number = numberOf<std::underlying_type_t<T>>(text);
        if (!number) return {};
        return static_cast<T>(*number);
    } else {
        return numberOf<T>(text);
    }
}

template <Scalar T>
std::string allowedFor() {
    if constexpr (std::is_enum_v<T>) return wireNames<T>() + ", or a number";
    return "a number from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
           std::to_string(std::numeric_limits<T>::max());
}

/// Tells the fields of a record with their names and values.
struct Tell {
    Fields& fields;
    std::string prefix;

    void add(const char* name, std::string value) {
        fields.emplace_back(prefix + name, std::move(value));
    }
    template <class R>
    void enter(const std::string& name, const R* record) {
        if (record == nullptr) return;
        Tell inner{fields, prefix + name + "."};
        Named<R>::each(*record, inner);
    }

    template <Scalar T>
    void operator()(const char* name, const T& value) {
        add(name, textOf(value));
    }
    template <std::size_t N>
    void operator()(const char* name, const UInt8 (&bytes)[N]) {
        add(name, std::string(reinterpret_cast<const char*>(bytes), N));
    }
    template <class R>
    void operator()(const char* name, R* const& member) {
        if constexpr (std::is_same_v<R, qrString>) {
            const bool isEmpty = member == nullptr || member->pContent == nullptr;
            return add(name, isEmpty ? std::string()
                                     : std::string(reinterpret_cast<const char*>(member->pContent),
                                                   member->Length));
        }
        enter(name, member);
    }
    template <Scalar T, Scalar C>
    void operator()(const char* name, T* const& run, const char* countName, const C& count) {
        add(countName, textOf(count));
        const std::uint64_t there = run == nullptr ? 0 : count;
        if constexpr (std::is_same_v<T, UInt8>)
            return add(name, digitsOf({run, static_cast<std::size_t>(there)}));
        std::string values;
        for (std::uint64_t i = 0; i < there; ++i) values += (i == 0 ? "" : ",") + textOf(run[i]);
        add(name, values);
    }
    template <class R, Scalar C>
    void operator()(const char* name, R** const& list, const char* countName, const C& count) {
        add(countName, textOf(count));
        for (std::uint64_t i = 0; list != nullptr && i < count; ++i) {
            enter(name + ("." + std::to_string(i)), list[i]);
        }
    }
};

/// Sets the field of that name; says what is allowed for it when the value is not.
struct Assign {
    std::string_view path;
    std::string_view value;
    bool mayCount;  ///< the length of a list may be said without the list
    bool isFound = false;
    std::string allowed{};

    /// Goes on inside of that name, if the path leads there.
    template <class Visit>
    void enter(std::string_view name, Visit visitInside) {
        if (isFound || !path.starts_with(name) || path.substr(name.size(), 1) != ".") return;
        const std::string_view whole = path;
        path.remove_prefix(name.size() + 1);
        visitInside();
        path = whole;
    }
    bool isField(std::string_view name) {
        isFound = isFound || path == name;
        return path == name;
    }
    template <Scalar T>
    void take(T& field) {
        const auto parsed = valueOf<T>(value);
        if (parsed) field = *parsed;
        if (!parsed) allowed = allowedFor<T>();
    }

    template <Scalar T>
    void operator()(const char* name, T& field) {
        if (isField(name)) take(field);
    }
    template <std::size_t N>
    void operator()(const char* name, UInt8 (&field)[N]) {
        if (!isField(name)) return;
        if (value.size() > N) {
            allowed = "up to " + std::to_string(N) + " bytes";
            return;
        }
        std::memset(field, 0, N);
        std::memcpy(field, value.data(), value.size());
    }
    template <class R>
    void operator()(const char* name, R*& member) {
        if constexpr (std::is_same_v<R, qrString>) {
            if (isField(name)) assignText(*member);
        } else {
            enter(name, [&] { Named<R>::each(*member, *this); });
        }
    }
    template <Scalar T, Scalar C>
    void operator()(const char* name, T*& run, const char* countName, C& count) {
        if (mayCount && isField(countName)) return take(count);
        if (!isField(name)) return;
        quarlo_free(run);
        run = nullptr;
        count = 0;
        if constexpr (std::is_same_v<T, UInt8>) {
            assignBytes(run, count);
        } else {
            assignValues(run, count);
        }
    }
    template <class R, Scalar C>
    void operator()(const char* name, R**& list, const char* countName, C& count) {
        if (mayCount && isField(countName)) return take(count);
        enter(name, [&] { assignIn(list, count); });
    }

  private:
    void assignText(qrString& string) {
        if (value.size() > 65535) {
            allowed = "up to 65535 bytes";
            return;
        }
        quarlo_free(string.pContent);
        string.pContent = copyOf(value);
        string.Encoding = eSTRINGENCODING_UTF8;
        string.Length = static_cast<UInt16>(string.pContent == nullptr ? 0 : value.size());
    }
    static UInt8* copyOf(std::string_view bytes) {
        UInt8* copy = bytes.empty() ? nullptr : Heap::make<UInt8>(bytes.size());
        if (copy != nullptr) std::memcpy(copy, bytes.data(), bytes.size());
        return copy;
    }
    template <Scalar C>
    void assignBytes(UInt8*& run, C& count) {
        const std::size_t most = std::min<std::uint64_t>(longestRun, std::numeric_limits<C>::max());
        Words words(value);
        const std::vector<UInt8> bytes = words.bytes(most);
        if (!words.areRight()) {
            allowed = "pairs of hexadecimal digits, up to " + std::to_string(most) + " bytes";
            return;
        }
        run = copyOf({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        count = static_cast<C>(run == nullptr ? 0 : bytes.size());
    }
    template <Scalar T, Scalar C>
    void assignValues(T*& run, C& count) {
        run = Heap::make<T>(mostEntries);
        std::string_view left = value;
        while (run != nullptr && !left.empty()) {
            const std::size_t comma = std::min(left.find(','), left.size());
            const auto one = valueOf<T>(left.substr(0, comma));
            left.remove_prefix(std::min(comma + 1, left.size()));
            if (!one ||
                count == std::min<std::uint64_t>(mostEntries, std::numeric_limits<C>::max())) {
                allowed = "with commas between them: " + allowedFor<T>();
                return;
            }
            run[count++] = *one;
        }
    }
    template <class R, Scalar C>
    void assignIn(R**& list, C& count) {
        const std::string_view word = path.substr(0, path.find('.'));
        const auto number = numberOf<std::uint64_t>(word);
        if (number) path.remove_prefix(std::min(word.size() + 1, path.size()));
        const std::uint64_t entry = number.value_or(0);
        if (entry >= mostEntries || entry >= std::numeric_limits<C>::max()) {
            isFound = true;
            allowed = "entries 0 to " + std::to_string(mostEntries - 1);
        } else if (R* record = entryOf(list, count, entry)) {
            Named<R>::each(*record, *this);
        }
    }
    template <class R, Scalar C>
    static R* entryOf(R**& list, C& count, std::uint64_t entry) {
        if (list == nullptr) list = Heap::make<R*>(mostEntries);
        if (list == nullptr) return nullptr;
        count = static_cast<C>(std::max<std::uint64_t>(count, entry + 1));
        Complete complete;
        for (std::uint64_t i = 0; i < count; ++i) {
            if (!complete(list[i])) return nullptr;
        }
        return list[entry];
    }
};

template <class P>
class PacketOf : public AnyPacket {
  public:
    explicit PacketOf(P* made) : packet(made) {
        Complete complete;
        if (packet != nullptr) wire::Layout<P>::each(*packet, complete);
    }
    ~PacketOf() override { wire::deletePacket(packet); }
    PacketOf(const PacketOf&) = delete;
    PacketOf& operator=(const PacketOf&) = delete;

    std::string assign(std::string_view path, std::string_view value, bool mayCount) override {
        Assign assign{path, value, mayCount};
        Named<P>::each(*packet, assign);
        if (!assign.isFound) return fieldNames();
        return assign.allowed.empty() ? std::string() : std::string(path) + ": " + assign.allowed;
    }
    Fields fields() const override {
        Fields fields;
        Tell tell{fields, {}};
        Named<P>::each(*packet, tell);
        return fields;
    }
    std::vector<std::uint8_t> bytes() const override {
        void* buffer = nullptr;
        UInt32 size = 0;
        wire::packetToBuffer(&buffer, &size, packet);
        const auto* start = static_cast<const std::uint8_t*>(buffer);
        std::vector<std::uint8_t> bytes;
        if (size != 0) bytes.assign(start, start + size);
        quarlo_free(buffer);
        return bytes;
    }

  private:
    std::string fieldNames() const {
        std::string names;
        for (const auto& [name, value] : fields()) names += (names.empty() ? "" : ", ") + name;
        return names.empty() ? "no fields" : "FIELD=VALUE; FIELD: " + names;
    }

    P* packet;
};

template <class P>
std::unique_ptr<AnyPacket> make() {
    P* packet = wire::newPacket<P>();
    if (packet == nullptr) return nullptr;
    return std::make_unique<PacketOf<P>>(packet);
}

template <class P>
std::unique_ptr<AnyPacket> decode(std::span<const std::uint8_t> bytes) {
    wire::Bounded input{bytes.data(), bytes.data() + bytes.size()};
    Heap heap;
    P* packet = wire::decodePacket<P>(input, heap);
    if (packet == nullptr) return nullptr;
    return std::make_unique<PacketOf<P>>(packet);
}

constexpr Direction ToPhone = Direction::ToPhone;
constexpr Direction FromPhone = Direction::FromPhone;
constexpr PacketKind kinds[] = {
#define QUARLO_PACKET(Event, Direction, Name, ...) \
    {eEVENTTYPE_##Name, Direction, #Name, make<packet##Name>, decode<packet##Name>},
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) QUARLO_PACKET(Event, Direction, Name, )
#include "QUARLO.Connector.IVI-API-Catalogue.def"
};

}  // namespace

std::string digitsOf(std::span<const std::uint8_t> bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::span<const PacketKind> packetKinds() {
    return kinds;
}

}  // namespace quarlo::phone

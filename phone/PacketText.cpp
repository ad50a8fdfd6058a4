// The text's words become assignments to the fields of AnyPacket.
#include "PacketText.h"

#include <algorithm>
#include <optional>

namespace quarlo::phone {
namespace {

const PacketKind* find(std::string_view name, Direction direction) {
    const auto all = packetKinds();
    const auto found = std::find_if(all.begin(), all.end(), [&](const PacketKind& row) {
        return row.name == name && row.direction == direction;
    });
    return found == all.end() ? nullptr : &*found;
}

/// "FIELD=VALUE" and the like; a value with blanks stands between quotes.
struct Assignment {
    std::string_view field;
    char sign;
    std::string_view value;
};

/// Takes the first from the text, which is not empty.
std::optional<Assignment> takeAssignment(std::string_view& text) {
    const std::size_t at = text.find_first_of("=~");
    if (at == 0 || at == std::string_view::npos || text.find(' ') < at) return {};
    Assignment taken{text.substr(0, at), text[at], {}};
    std::string_view behind = text.substr(at + 1);
    const bool isQuoted = behind.starts_with('"');
    if (isQuoted) behind.remove_prefix(1);
    const std::size_t end = behind.find(isQuoted ? '"' : ' ');
    if (isQuoted && end == std::string_view::npos) return {};
    taken.value = behind.substr(0, end);
    behind.remove_prefix(std::min(taken.value.size() + 1, behind.size()));
    if (isQuoted && !behind.empty() && behind.front() != ' ') return {};
    text = behind.substr(std::min(behind.find_first_not_of(' '), behind.size()));
    return taken;
}

const char* const form = "FIELD=VALUE or FIELD=\"VALUE WITH BLANKS\"";

/// The name with its numbers of entries left out.
std::string withoutNumbers(const std::string& name) {
    std::string result;
    for (std::size_t at = 0; at < name.size();) {
        const std::size_t end = std::min(name.find('.', at), name.size());
        const std::string part = name.substr(at, end - at);
        if (part.find_first_not_of("0123456789") != std::string::npos)
            result += (result.empty() ? "" : ".") + part;
        at = end + 1;
    }
    return result;
}

}  // namespace

std::string packetNames(Direction direction) {
    std::string names;
    for (const PacketKind& row : packetKinds()) {
        if (row.direction == direction)
            names += (names.empty() ? "" : ", ") + std::string(row.name);
    }
    return names;
}

bool isPacket(std::string_view name, Direction direction) {
    return find(name, direction) != nullptr;
}

std::vector<std::uint8_t> packetWith(
    std::string_view name, const std::vector<std::pair<std::string_view, std::string>>& fields) {
    const PacketKind* kind = find(name, Direction::FromPhone);
    const auto packet = kind == nullptr ? nullptr : kind->make();
    if (packet == nullptr) return {};
    for (const auto& [field, value] : fields) {
        if (!packet->assign(field, value, false).empty()) return {};
    }
    return packet->bytes();
}

std::string buildPacket(std::string_view name, std::string_view fields,
                        std::vector<std::uint8_t>& bytes) {
    const PacketKind* kind = find(name, Direction::FromPhone);
    if (kind == nullptr) return "PACKET: " + packetNames(Direction::FromPhone);
    const auto packet = kind->make();
    while (packet != nullptr && !fields.empty()) {
        const auto given = takeAssignment(fields);
        if (!given || given->sign != '=') return form;
        std::string allowed = packet->assign(given->field, given->value, false);
        if (!allowed.empty()) return allowed;
    }
    if (packet != nullptr) bytes = packet->bytes();
    return bytes.empty() ? "a packet of less than 4 GiB" : std::string();
}

std::string PacketPattern::read(std::string_view name, std::string_view fields) {
    kind = find(name, Direction::ToPhone);
    if (kind == nullptr) return "PACKET: " + packetNames(Direction::ToPhone);
    while (!fields.empty()) {
        const auto given = takeAssignment(fields);
        if (!given) return std::string(form) + ", or FIELD~TEXT";
        const bool isWhole = given->sign == '=';
        Condition condition{std::string(given->field), isWhole, std::string(given->value)};
        const auto packet = kind->make();
        if (packet == nullptr) return "more memory";
        std::string allowed = packet->assign(given->field, given->value, true);
        if (!allowed.empty() && (isWhole || allowed.starts_with("FIELD"))) return allowed;
        // As it is told of a packet that has come: "2" and "Moved" are one.
        if (isWhole) {
            for (const auto& [field, value] : packet->fields()) {
                if (field == condition.field || withoutNumbers(field) == condition.field)
                    condition.value = value;
            }
        }
        conditions.push_back(std::move(condition));
    }
    return {};
}

bool PacketPattern::matches(std::span<const std::uint8_t> packet) const {
    if (packet.empty() || kind == nullptr || packet[0] != kind->type) return false;
    if (conditions.empty()) return true;
    const auto decoded = kind->decode(packet);
    if (decoded == nullptr) return false;
    const AnyPacket::Fields fields = decoded->fields();
    return std::all_of(conditions.begin(), conditions.end(),
                       [&](const Condition& one) { return holds(one, fields); });
}

bool PacketPattern::holds(const Condition& condition, const AnyPacket::Fields& fields) {
    return std::any_of(fields.begin(), fields.end(), [&](const auto& field) {
        const auto& [name, value] = field;
        if (name != condition.field && withoutNumbers(name) != condition.field) return false;
        return condition.isWhole ? value == condition.value
                                 : value.find(condition.value) != std::string::npos;
    });
}

}  // namespace quarlo::phone

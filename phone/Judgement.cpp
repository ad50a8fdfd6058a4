// Rules for every packet stand in judge(), those for the fields of one packet in an overload of
// check().
#include "Judgement.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "QUARLO-WirePackets.h"
#include "QUARLO.Connector.IVI-API_C.h"

namespace quarlo::phone {
namespace {

constexpr std::size_t mostFingers = 64;

template <class P>
void check(Judgement&, const P&) {}

void check(Judgement& judgement, const packetFramebufferUpdateRequest& packet) {
    const qrRectangle& region = *packet.UpdateRegion;
    const std::string text = "region " + std::to_string(region.Width) + "x" +
                             std::to_string(region.Height) + " at " + std::to_string(region.X) +
                             "," + std::to_string(region.Y);
    if (region.Width == 0 || region.Height == 0) return judgement.find(text + " is empty");
    if (region.X + region.Width > judgement.screenWidth ||
        region.Y + region.Height > judgement.screenHeight)
        judgement.find(text + " is not within the screen");
}

void checkOrder(Judgement& judgement, const qrTouch& touch, const std::string& finger) {
    std::set<UInt32>& down = judgement.fingersDown;
    if (touch.TouchType == eTOUCHTYPE_Down) {
        if (down.contains(touch.UniqueID)) return judgement.find(finger + " is down already");
        if (down.size() == mostFingers)
            return judgement.find(finger + " is one more than are followed");
        down.insert(touch.UniqueID);
        return;
    }
    if (!down.contains(touch.UniqueID)) judgement.find(finger + " is not down");
    if (touch.TouchType != eTOUCHTYPE_Moved) down.erase(touch.UniqueID);
}

void check(Judgement& judgement, const packetTouchEvent& packet) {
    const qrTouchList& list = *packet.TouchEvents;
    if (list.Length == 0) judgement.find("no finger");
    if (packet.Timestamp == 0) judgement.find("no time");
    for (unsigned i = 0; i < list.Length; ++i) {
        const qrTouch& touch = *list.paTouches[i];
        const std::string finger = "finger " + std::to_string(touch.UniqueID);
        if (touch.TouchType < eTOUCHTYPE_Down || touch.TouchType > eTOUCHTYPE_Cancelled) {
            judgement.find(finger + " does what is unknown, " + std::to_string(touch.TouchType));
            continue;
        }
        if (touch.PositionX >= judgement.screenWidth || touch.PositionY >= judgement.screenHeight)
            judgement.find(finger + " is not within the screen");
        checkOrder(judgement, touch, finger);
    }
}

void check(Judgement& judgement, const packetSoftkeyEvent& packet) {
    const std::string key = "key " + std::to_string(packet.Softkey);
    if (packet.Softkey < eSOFTKEY_Home || packet.Softkey > eSOFTKEY_Search)
        return judgement.find(key + " is unknown");
    if (packet.SoftkeyEvent == eSOFTKEYEVENTTYPE_Press) {
        if (!judgement.keysDown.insert(packet.Softkey).second)
            judgement.find(key + " is pressed already");
    } else if (packet.SoftkeyEvent == eSOFTKEYEVENTTYPE_Release) {
        if (judgement.keysDown.erase(packet.Softkey) == 0) judgement.find(key + " is not pressed");
    } else {
        judgement.find(key + " does what is unknown, " + std::to_string(packet.SoftkeyEvent));
    }
}

template <class P>
void decodeAndCheck(Judgement& judgement, std::span<const std::uint8_t> bytes) {
    wire::Bounded input{bytes.data(), bytes.data() + bytes.size()};
    wire::Heap heap;
    const std::unique_ptr<P, void (*)(P*)> packet(wire::decodePacket<P>(input, heap),
                                                  wire::deletePacket<P>);
    if (packet == nullptr) return judgement.find("cannot be read");
    if (input.at != input.end) {
        judgement.find(std::to_string(input.end - input.at) + " bytes more than its fields take");
    }
    check(judgement, *packet);
}

/// One of these for each packet of the catalogue.
struct Row {
    UInt8 type;
    bool isToPhone;
    void (*decodeAndCheck)(Judgement&, std::span<const std::uint8_t>);
};
constexpr bool ToPhone = true;
constexpr bool FromPhone = false;
constexpr Row rows[] = {
#define QUARLO_PACKET(Event, Direction, Name, ...) {Event, Direction, decodeAndCheck<packet##Name>},
#define QUARLO_EMPTY_PACKET(Event, Direction, Name) \
    {Event, Direction, decodeAndCheck<packet##Name>},
#include "QUARLO.Connector.IVI-API-Catalogue.def"
};

}  // namespace

std::vector<std::string> Judgement::judge(std::span<const std::uint8_t> packet, int width,
                                          int height) {
    screenWidth = width;
    screenHeight = height;
    const UInt8 type = packet[0];
    const auto row = std::find_if(std::begin(rows), std::end(rows),
                                  [&](const Row& one) { return one.type == type; });
    if (wire::load<UInt32>(&packet[1]) != 0) find("flags are set");
    if (row == std::end(rows)) {
        find("the type is unknown");
    } else if (!row->isToPhone) {
        find("phones send this, not head units");
    } else {
        row->decodeAndCheck(*this, packet);
    }
    const std::string name = row == std::end(rows)
                                 ? "packet " + std::to_string(type)
                                 : _quarlo_getEventTypeName(static_cast<EventType>(type));
    for (std::string& fault : faults) fault.insert(0, name + ": ");
    return std::exchange(faults, {});
}

}  // namespace quarlo::phone

/* The phone asks the head unit to guide to a place. The texts live in the scratch memory. */
#include "QUARLO-Core-Strings.h"
#include "QUARLO-Core-Texts.h"
#include "QUARLO-Core-Utilities.h"

namespace quarlo {
namespace {

struct Field {
    UInt16 bit;
    qrString* qrPlacemark::*from;
    char* LocationStrings::*to;
};

constexpr Field fields[] = {
    {1, &qrPlacemark::Country, &LocationStrings::Country},
    {2, &qrPlacemark::Region, &LocationStrings::StateRegion},
    {4, &qrPlacemark::ZipCode, &LocationStrings::ZipCode},
    {8, &qrPlacemark::City, &LocationStrings::City},
    {16, &qrPlacemark::Streetname, &LocationStrings::Street},
    {32, &qrPlacemark::CrossStreetname, &LocationStrings::CrossStreet},
    {64, &qrPlacemark::Housenumber, &LocationStrings::Housenumber},
};

/** The place as texts; null, after the report, without memory. */
LocationStrings* locationOf(quarlo_CoreInstance* obj, const qrPlacemark& placemark) {
    auto* location = obj->scratch.make<LocationStrings>();
    if (location == nullptr) {
        outOfMemory(obj, "onReceiveNavigateTo: error allocating location strings memory.");
        return nullptr;
    }
    for (const Field& field : fields) {
        char* text = textOf(obj, placemark.*field.from);
        location->*field.to = text;
        if (text != nullptr) {
            location->validMask = static_cast<UInt16>(location->validMask | field.bit);
        }
    }
    return location;
}

void guide(quarlo_CoreInstance* obj, const packetNavigateTo& packet) {
    const bool hasPosition =
        packet.Type == eNAVIGATETOTYPE_PositionOnly || packet.Type == eNAVIGATETOTYPE_Both;
    const bool hasPlacemark =
        packet.Type == eNAVIGATETOTYPE_PlacemarkOnly || packet.Type == eNAVIGATETOTYPE_Both;
    char* name = textOf(obj, packet.DisplayName);
    double longitude = 0.0;
    double latitude = 0.0;
    if (hasPosition) {
        longitude = _quarlo_utilDecimalToDouble(packet.Position->Longitude);
        latitude = _quarlo_utilDecimalToDouble(packet.Position->Latitude);
        trace(obj, eTRACECLASS_VERBOSE, "    position destination (%f, %f) named '%s'", longitude,
              latitude, name == nullptr ? "" : name);
    }
    LocationStrings* location = nullptr;
    if (hasPlacemark) {
        location = locationOf(obj, *packet.Placemark);
        if (location == nullptr) return;
    }
    notify(obj, obj->navigateToCallback, name, packet.Type, longitude, latitude, location);
}

}  // namespace
}  // namespace quarlo

using namespace quarlo;

extern "C" void onReceiveNavigateTo(quarlo_CoreInstance* obj, packetNavigateTo* pPacket) {
    if (!accept(obj, pPacket, "ReceiveNavigateTo called with NULL packet.",
                "NavigateTo received in wrong state; ignored.")) {
        return;
    }
    trace(obj, eTRACECLASS_INFORMATION, "NavigateTo");
    if ((obj->hostServices & eCLIENTCAPABILITIES_NavigateTo) == 0) {
        trace(obj, eTRACECLASS_WARNING, "NavigateTo received and navigate to not active; ignored.");
        return;
    }
    if (obj->navigateToCallback != nullptr) guide(obj, *pPacket);
}

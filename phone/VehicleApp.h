/**
 * @file
 * The vehicle values that the dashboard shows and asks the head unit for. Constant.
 */
#ifndef QUARLO_PHONE_VEHICLEAPP_H
#define QUARLO_PHONE_VEHICLEAPP_H

#include "Apps.h"

namespace quarlo::phone {

struct VehicleKey {
    UInt32 key;
    const char* name;
    double most;
};
constexpr std::array<VehicleKey, 6> vehicleKeys{{{1, "Speed", 240},
                                                 {2, "Engine speed", 8000},
                                                 {3, "Fuel", 100},
                                                 {4, "Outside", 50},
                                                 {5, "Range", 900},
                                                 {6, "Odometer", 300000}}};

}  // namespace quarlo::phone

#endif

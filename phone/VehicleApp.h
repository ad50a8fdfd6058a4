/**
 * @file
 * The vehicle values that the dashboard shows and asks the head unit for. Constant.
 */
#ifndef PHONE_VEHICLEAPP_H
#define PHONE_VEHICLEAPP_H

#include "Apps.h"

namespace quarlo::phone {

struct VehicleKey {
    UInt32 key;
    const char* english;
    const char* german;
    const char* french;
    double most;
};
constexpr std::array<VehicleKey, 6> vehicleKeys{{{1, "Speed", "Tempo", "Vitesse", 240},
                                                 {2, "Engine speed", "Drehzahl", "Régime", 8000},
                                                 {3, "Fuel", "Tank", "Carburant", 100},
                                                 {4, "Outside", "Außen", "Extérieur", 50},
                                                 {5, "Range", "Reichweite", "Autonomie", 900},
                                                 {6, "Odometer", "Kilometer", "Compteur", 300000}}};

}  // namespace quarlo::phone

#endif

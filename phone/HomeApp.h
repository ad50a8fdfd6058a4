/**
 * @file
 * The app in front when a session begins: a photograph with a headline, what is playing, the route
 * and a dock. Lives on the session's thread.
 */
#ifndef PHONE_HOMEAPP_H
#define PHONE_HOMEAPP_H

#include <memory>
#include <string>

#include "App.h"

namespace quarlo::phone {

std::unique_ptr<App> makeHomeApp(const std::string& title, std::uint32_t seed);

}  // namespace quarlo::phone

#endif

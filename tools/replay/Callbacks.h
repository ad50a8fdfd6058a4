/*
 * Every callback of an instance, as an event with its arguments. They come on the receiver thread.
 */
#ifndef REPLAY_CALLBACKS_H
#define REPLAY_CALLBACKS_H

#include "Lines.h"

namespace quarlo::replay {

/** The callback context of an instance. */
class Listener {
  public:
    virtual ~Listener() = default;
    /** @param event the setter's name without quarlo_Set and Callback */
    virtual void heard(const std::string& event, const Line& arguments) = 0;
};

void setCallbacks(void* instance, Listener& listener);
/** The catalogue of apps as JSON; empty when the phone has sent none. */
std::string appsOf(void* instance);

}  // namespace quarlo::replay

#endif

/*
 * A file descriptor that is closed at its end. Whoever holds it owns it.
 */
#ifndef HEADUNIT_DESCRIPTOR_H
#define HEADUNIT_DESCRIPTOR_H

#include <unistd.h>

namespace quarlo::headunit {

class Descriptor {
  public:
    explicit Descriptor(int descriptor) : value(descriptor) {}
    ~Descriptor() {
        if (value >= 0) close(value);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return value; }

  private:
    int value;
};

}  // namespace quarlo::headunit

#endif

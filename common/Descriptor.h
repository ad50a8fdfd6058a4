/*
 * A file descriptor that is closed at its end. Whoever holds it owns it.
 */
#ifndef COMMON_DESCRIPTOR_H
#define COMMON_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace quarlo {
inline namespace common {

class Descriptor {
  public:
    explicit Descriptor(int descriptor = -1) : value(descriptor) {}
    ~Descriptor() {
        if (value >= 0) close(value);
    }
    Descriptor(Descriptor&& other) noexcept : value(std::exchange(other.value, -1)) {}
    Descriptor& operator=(Descriptor other) noexcept {
        std::swap(value, other.value);
        return *this;
    }

    int get() const { return value; }
    bool isOpen() const { return value >= 0; }

  private:
    int value;
};

}  // namespace common
}  // namespace quarlo

#endif

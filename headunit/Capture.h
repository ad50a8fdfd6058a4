/*
 * The capture of a run: opened before anything is connected, closed after everything is.
 */
#ifndef HEADUNIT_CAPTURE_H
#define HEADUNIT_CAPTURE_H

#include <iostream>
#include <string>

#include "common/Text.h"
#include "quarlo-links.h"

namespace quarlo::headunit {

class Capture {
  public:
    Capture() = default;
    /** @return what is wrong with the path, or nothing */
    std::string open(const std::string& path) {
        quarloLinkFailure failure{};
        capture = quarloCapture_Open(path.c_str(), &failure);
        return failure.text;
    }
    ~Capture() {
        quarloLinkFailure failure{};
        if (capture != nullptr && quarloCapture_Close(capture, &failure) != eRETURN_OKAY) {
            std::cerr << "quarlo-headunit: " << printable(failure.text) << '\n';
        }
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;
    /** Null for none. */
    quarloCapture* get() const { return capture; }

  private:
    quarloCapture* capture = nullptr;
};

}  // namespace quarlo::headunit

#endif

/**
 * @file
 * The phone's screen: a status bar, the app in front and the softkeys, drawn at the size the head
 * unit declared. Lives on the session's thread and keeps what was in front from one session to the
 * next.
 */
#ifndef QUARLO_PHONE_SCREEN_H
#define QUARLO_PHONE_SCREEN_H

#include <map>
#include <memory>

#include "App.h"
#include "common/Picture.h"

namespace quarlo::phone {

/** The real time of day. */
Moment presentMoment();

class Screen {
  public:
    explicit Screen(std::unique_ptr<App> home);

    /** Sets the logical size and at how many percent of it the screen is drawn. */
    void resize(Size size, int percent = 100);
    /** Brings an app of the table to the front; any other number brings the home screen. */
    void open(int app);
    /** The number of the app in front, -1 on the home screen. */
    int front() const { return front_; }
    /** Whether the head unit's block mode hides the app in front. */
    bool isBlocked() const;

    /** Fingers on the softkeys press these, others go to the app that they went down on. */
    void touch(const Touch& touch);
    void press(Softkey key);
    void release(Softkey key);

    /** Draws the screen as it is at this moment. */
    const Picture& draw(const Moment& moment);
    const Picture& picture() const { return picture_; }
    int width() const { return width_; }
    int height() const { return height_; }
    Phone& phone() { return phone_; }

  private:
    App& app() const { return front_ < 0 ? *home_ : *app_; }
    Box statusBox() const;
    Box appBox() const;
    Box softkeyBox(int index) const;
    int softkeyAt(double x, double y) const;
    void drawBackdrop();
    void drawStatus(Canvas& canvas, const Moment& moment) const;
    void drawSoftkeys(Canvas& canvas) const;
    void drawBlock(Canvas& canvas) const;

    Phone phone_;
    std::unique_ptr<App> home_;
    std::unique_ptr<App> app_;
    int front_ = -1;
    std::map<UInt32, int> keyFingers_;  ///< the softkey under each finger that presses one
    int pressed_ = 0;                   ///< a softkey held down, drawn bright; 0 if none
    int width_ = 0;
    int height_ = 0;
    double scale_ = 1;
    /** Another app is in front than the backdrop shows. Drawn when a picture is due and no sooner:
     * apps may change faster than anybody looks. */
    bool isStale_ = false;
    /** What the backdrop was drawn for. */
    bool isNightDrawn_ = true;
    std::string languageDrawn_;
    Picture backdrop_;
    Picture picture_;
};

}  // namespace quarlo::phone

#endif

/**
 * @file
 * The phone's screen: a status bar, the app in front and the softkeys, drawn at the size the head
 * unit declared. Lives on one thread: that of a session, or the main thread.
 */
#ifndef PHONE_SCREEN_H
#define PHONE_SCREEN_H

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
    int front() const { return inFront; }
    /** Whether the head unit's block mode hides the app in front. */
    bool isBlocked() const;

    /** Fingers on the softkeys press these, others go to the app that they went down on. */
    void touch(const Touch& touch);
    void press(Softkey key);
    void release(Softkey key);

    /** Draws the screen as it is at this moment. */
    const Picture& draw(const Moment& moment);
    const Picture& picture() const { return drawn; }
    /** How many times it was drawn. */
    unsigned drawings() const { return drawCount; }
    int width() const { return extent.width; }
    int height() const { return extent.height; }
    Phone& phone() { return known; }

  private:
    App& app() const { return inFront < 0 ? *homeScreen : *opened; }
    Box statusBox() const;
    Box appBox() const;
    Box softkeyBox(int index) const;
    int softkeyAt(double x, double y) const;
    void drawBackdrop();
    void drawStatus(Canvas& canvas, const Moment& moment) const;
    void drawSoftkeys(Canvas& canvas) const;
    void drawBlock(Canvas& canvas) const;

    Phone known;
    std::unique_ptr<App> homeScreen;
    std::unique_ptr<App> opened;
    int inFront = -1;
    std::map<UInt32, int> keyFingers;  ///< the softkey under each finger that presses one
    int pressed = 0;                   ///< a softkey held down, drawn bright; 0 if none
    Size extent;
    double scale = 1;
    /** Another app is in front than the backdrop shows. Drawn when a picture is due and no sooner:
     * apps may change faster than anybody looks. */
    bool isStale = false;
    /** What the backdrop was drawn for. */
    bool isNightDrawn = true;
    std::string languageDrawn;
    Picture backdrop;
    Picture drawn;
    unsigned drawCount = 0;
};

}  // namespace quarlo::phone

#endif

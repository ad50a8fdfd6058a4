// The picture viewer: a finger drags the photographs aside, and the one that covers most of the
// screen stays. While the car moves none changes. Session thread.
#include <array>
#include <cmath>
#include <optional>

#include "Apps.h"
#include "Photographs.h"

namespace quarlo::phone {
namespace {

/// A drag over this part of the screen turns to the next picture.
constexpr double turnAt = 0.2;

class PicturesApp : public App {
  public:
    std::string title() const override { return titleOf("pictures", phone()); }
    void drawBackdrop(Canvas& canvas, const Box& box) override {
        canvas.fill(box, {phone().isNight ? 0x0B0D12u : 0xDDE3ECu, 1});
    }
    void draw(Canvas& canvas, const Box& box, const Moment& moment) override;
    void touch(const Touch& touch, const Box& box) override;
    void key(Softkey key) override {
        if (key == eSOFTKEY_Search) current = 0;
    }

  private:
    void drawPhoto(Canvas& canvas, const Box& box, int which);
    void drawCaption(Canvas& canvas, const Box& box) const;
    void settle(double width);

    std::array<Picture, photographCount> photos{photograph(0), photograph(1)};
    int current = 0;
    double dragged = 0;  ///< pixels to the right of where it rests
    std::optional<UInt32> finger;
    double startX = 0;
};

void PicturesApp::drawPhoto(Canvas& canvas, const Box& box, int which) {
    if (which < 0 || which >= photographCount) return;
    const double margin = std::min(box.width, box.height) * 0.04;
    canvas.photo(box.inner(margin), margin, photos[static_cast<std::size_t>(which)]);
}

void PicturesApp::drawCaption(Canvas& canvas, const Box& box) const {
    const double size = std::min(box.width, box.height) * 0.05;
    const Box line{box.x + size * 1.6, box.bottom() - size * 2.6, box.width - size * 3.2,
                   size * 1.4};
    canvas.text(line,
                std::string(inLanguage(phone(), "Picture ", "Bild ", "Photo ")) +
                    std::to_string(current + 1) + " / " + std::to_string(photographCount),
                {size * 0.8, {0xFFFFFF, 0.95}, Weight::Bold});
    for (int i = 0; i < photographCount; ++i) {
        canvas.fillCircle(line.right() - size * (photographCount - i) * 0.8, line.centreY(),
                          size * 0.22, {0xFFFFFF, i == current ? 1 : 0.45});
    }
}

void PicturesApp::draw(Canvas& canvas, const Box& box, const Moment&) {
    cairo_save(canvas.cairo());
    canvas.clipRounded(box, 0);
    const Box here{box.x + dragged, box.y, box.width, box.height};
    drawPhoto(canvas, here, current);
    if (dragged > 0)
        drawPhoto(canvas, {here.x - box.width, here.y, here.width, here.height}, current - 1);
    if (dragged < 0)
        drawPhoto(canvas, {here.right(), here.y, here.width, here.height}, current + 1);
    drawCaption(canvas, box);
    cairo_restore(canvas.cairo());
}

void PicturesApp::settle(double width) {
    if (std::abs(dragged) > width * turnAt)
        current = std::clamp(current + (dragged < 0 ? 1 : -1), 0, photographCount - 1);
    dragged = 0;
}

void PicturesApp::touch(const Touch& touch, const Box& box) {
    if (touch.type == eTOUCHTYPE_Down && !finger) {
        finger = touch.finger;
        startX = touch.x;
    }
    if (finger != touch.finger) return;
    dragged = phone().isMoving ? 0 : std::clamp(touch.x - startX, -box.width, box.width);
    if (touch.type == eTOUCHTYPE_Cancelled) dragged = 0;
    if (touch.type != eTOUCHTYPE_Up && touch.type != eTOUCHTYPE_Cancelled) return;
    settle(box.width);
    finger.reset();
}

}  // namespace

std::unique_ptr<App> makePicturesApp() {
    return std::make_unique<PicturesApp>();
}

}  // namespace quarlo::phone

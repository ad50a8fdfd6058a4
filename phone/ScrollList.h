/**
 * @file
 * An app that is a list of rows under a line of status: rows move with a finger, and a tap on one
 * asks the phone for something. Session thread.
 */
#ifndef PHONE_SCROLLLIST_H
#define PHONE_SCROLLLIST_H

#include <optional>
#include <vector>

#include "Apps.h"

namespace quarlo::phone {

struct Row {
    Phrase title;
    Phrase detail;
    std::optional<Wish> wish;
    int which = 0;
};

class ScrollList : public App {
  public:
    ScrollList(const char* id, std::vector<Row> rows) : name(id), entries(std::move(rows)) {}

    std::string title() const override;
    void drawBackdrop(Canvas& canvas, const Box& box) override;
    void draw(Canvas& canvas, const Box& box, const Moment& moment) override;
    void touch(const Touch& touch, const Box& box) override;
    void key(Softkey key) override;

  private:
    Box listBox(const Box& box) const;
    double rowHeight(const Box& box) const;
    void scrollTo(double offset, const Box& box);
    void tap(double y, const Box& box);

    const char* name;
    std::vector<Row> entries;
    double scrolled = 0;
    std::optional<UInt32> finger;
    double startY = 0;
    double startOffset = 0;
    bool hasScrolled = false;
};

}  // namespace quarlo::phone

#endif

/**
 * @file
 * An app that is a list of rows under a line of status: rows move with a finger, and a tap on one
 * asks the phone for something. Session thread.
 */
#ifndef QUARLO_PHONE_SCROLLLIST_H
#define QUARLO_PHONE_SCROLLLIST_H

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
    ScrollList(const char* id, std::vector<Row> rows) : id_(id), rows_(std::move(rows)) {}

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

    const char* id_;
    std::vector<Row> rows_;
    double offset_ = 0;
    std::optional<UInt32> finger_;
    double startY_ = 0;
    double startOffset_ = 0;
    bool hasScrolled_ = false;
};

}  // namespace quarlo::phone

#endif

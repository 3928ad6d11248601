// The terminal of vosctl top.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "top_model.h"

namespace vosctl {

/** Throws Failure where standard input and output are no terminal that can place text. */
void requireScreen();

class TopScreen {
  public:
    TopScreen();
    ~TopScreen();
    TopScreen(const TopScreen &) = delete;
    TopScreen &operator=(const TopScreen &) = delete;

    size_t width() const;
    size_t height() const;
    void show(const std::vector<TopLine> &lines);
    /** Does what the pressed keys ask for; false to end. */
    bool takeKeys(TopView &view, TopModel &model);

  private:
    bool takeKey(int key, TopView &view, TopModel &model);

    void *screen_ = nullptr;  // of the terminal's library
    bool typing_ = false;     // the filter
    bool paused_ = false;
};

}  // namespace vosctl

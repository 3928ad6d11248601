// Puts lines on a terminal and reads keys.
#include "top_screen.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "command.h"

#ifdef VOSCTL_WITH_NCURSES
#include <curses.h>
#endif

namespace vosctl {

#ifdef VOSCTL_WITH_NCURSES

namespace {

constexpr int kEscape = 27;

struct Look {
    attr_t attributes;
    short colour;  // 0: the terminal's own
};
Look lookOf(TopLine::Look look) {
    switch (look) {
        case TopLine::Look::kHeader:
            return {A_REVERSE, 0};
        case TopLine::Look::kSelected:
            return {A_BOLD | A_UNDERLINE, 0};
        case TopLine::Look::kAlarm:
            return {A_BOLD, 1};
        default:
            return {A_NORMAL, 0};
    }
}

void select(TopView &view, const TopModel &model, int step) {
    const std::vector<const TopClient *> clients = sortedClients(model, view);
    const auto at = std::ranges::find(clients, view.selected, [](const TopClient *each) { return each->row.eid; });
    const auto last = static_cast<ptrdiff_t>(clients.size()) - 1;
    const ptrdiff_t next = at == clients.end() ? 0 : at - clients.begin() + step;
    view.selected = last < 0 ? 0 : clients[static_cast<size_t>(std::clamp<ptrdiff_t>(next, 0, last))]->row.eid;
}

void follow(TopView &view, TopModel &model, VosEntityId eid) {
    view.followed = eid;
    model.follow(eid);
}

}  // namespace

TopScreen::TopScreen() {
    setenv("ESCDELAY", "25", 0);
    screen_ = newterm(nullptr, stdout, stdin);
    if (screen_ == nullptr) {
        throw Failure{"no memory for the terminal"};
    }
    if (has_colors()) {
        start_color();
        use_default_colors();
        init_pair(1, COLOR_RED, -1);
    }
    cbreak();
    noecho();
    keypad(stdscr, TRUE);
    nodelay(stdscr, TRUE);
    curs_set(0);
}

TopScreen::~TopScreen() {
    endwin();
    delscreen(static_cast<SCREEN *>(screen_));
}

size_t TopScreen::width() const {
    return static_cast<size_t>(COLS);
}

size_t TopScreen::height() const {
    return static_cast<size_t>(LINES);
}

void TopScreen::show(const std::vector<TopLine> &lines) {
    if (paused_) {
        return;
    }
    erase();
    for (size_t i = 0; i < lines.size(); i++) {
        const Look look = lookOf(lines[i].look);
        attr_set(look.attributes, has_colors() ? look.colour : static_cast<short>(0), nullptr);
        mvaddnstr(static_cast<int>(i), 0, lines[i].text.c_str(), static_cast<int>(lines[i].text.size()));
    }
    attr_set(A_NORMAL, 0, nullptr);
    refresh();
}

bool TopScreen::takeKeys(TopView &view, TopModel &model) {
    pollfd input{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0};
    if (poll(&input, 1, 0) > 0 && (input.revents & (POLLHUP | POLLERR)) != 0) {
        return false;  // nobody looks any more
    }
    for (int key = getch(); key != ERR; key = getch()) {
        if (!takeKey(key, view, model)) {
            return false;
        }
    }
    view.note = typing_ ? "names with: " + view.filter + "_   Enter keeps, Esc shows all" : "";
    return true;
}

bool TopScreen::takeKey(int key, TopView &view, TopModel &model) {
    if (typing_) {
        typing_ = key != '\n' && key != kEscape;
        if (key == kEscape) {
            view.filter.clear();
        } else if ((key == KEY_BACKSPACE || key == '\b' || key == 127) && !view.filter.empty()) {
            view.filter.pop_back();
        } else if (key < 127 && isprint(key) != 0) {
            view.filter += static_cast<char>(key);
        }
        return true;
    }
    switch (key) {
        case 's':
            view.sort = (view.sort + 1) % kTopSorts;
            return true;
        case 'r':
            view.reverse = !view.reverse;
            return true;
        case '/':
            typing_ = true;
            return true;
        case 'c':
            model.clear();
            return true;
        case 'p':
            paused_ = !paused_;
            return true;
        case KEY_UP:
            select(view, model, -1);
            return true;
        case KEY_DOWN:
            select(view, model, 1);
            return true;
        case '\n':
            follow(view, model, view.selected);
            return true;
        case kEscape:
            view.filter.clear();
            follow(view, model, 0);
            return true;
        default:
            return key != 'q';
    }
}

#else

TopScreen::TopScreen() = default;
TopScreen::~TopScreen() = default;
size_t TopScreen::width() const {
    return 0;
}
size_t TopScreen::height() const {
    return 0;
}
void TopScreen::show(const std::vector<TopLine> &) {}
bool TopScreen::takeKeys(TopView &, TopModel &) {
    return false;
}

#endif

}  // namespace vosctl

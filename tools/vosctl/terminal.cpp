// Whether there is a terminal for vosctl top. A file of its own: the header of terminal descriptions has a macro for
// every second word.
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "command.h"
#include "top_screen.h"

#ifdef VOSCTL_WITH_NCURSES
#include <curses.h>
#include <term.h>
#endif

namespace vosctl {

void requireScreen() {
#ifdef VOSCTL_WITH_NCURSES
    const char *terminal = getenv("TERM");
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0 || terminal == nullptr) {
        throw Failure{"top needs a terminal; scripts use 'vosctl top --json'"};
    }
    int error = 0;
    const bool known = setupterm(terminal, STDOUT_FILENO, &error) == OK;
    const bool places = known && tigetstr("cup") != nullptr;
    if (known) {
        del_curterm(cur_term);
    }
    if (!places) {
        throw Failure{"the terminal '" + std::string{terminal} +
                      "' cannot place text; set TERM to another, or use 'vosctl top --json'"};
    }
#else
    throw Failure{"this vosctl was built without ncurses; use 'vosctl top --json'"};
#endif
}

}  // namespace vosctl

// A developer's command inside a daemon: `vosctl cli meshd -- add 3 4` asks for it, or a program as this one does.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vos/vos.hpp>

enum : uint32_t { MSG_REMOTE_CLI = 0x1000f030 };

int main() {
    vos::Connection hub = vos::Connection::open("meshd").value();
    vos::Loop loop{hub};
    loop.commands(MSG_REMOTE_CLI, [](std::span<char *const> words, FILE *out) -> uint32_t {
        if (words.size() != 3 || std::string_view{words[0]} != "add") {
            fprintf(out, "commands: add NUMBER NUMBER\n");
            return VOS_RET_UNKNOWN_NAME;
        }
        fprintf(out, "%d\n", atoi(words[1]) + atoi(words[2]));
        return VOS_RET_OK;
    });

    using namespace std::string_literals;
    const std::string request =
        std::string(8, '\0') + "add\0003\0004\0"s;  // 8 bytes that loops do not look at, the words
    const vos::Call call = loop.ask({.to = hub.eid(), .type = MSG_REMOTE_CLI, .word = 3, .payload = request},
                                    [&](vos::Result<vos::Message> done) {
                                        std::string line;
                                        std::getline(std::ifstream{UTIL_CLI_RESULT_FILE}, line);
                                        printf("%s: %s\n", done.message(), line.c_str());
                                        loop.stop();
                                    });
    return loop.run();
}

/* Prints:
success: 7
*/

// A delay that the hub keeps and reports as a message.
#include <cstdio>
#include <vos/vos.hpp>

using namespace std::chrono_literals;

int main() {
    vos::Connection hub = vos::Connection::open("sleeper").value();
    vos::Loop loop{hub};
    loop.afterMessage(40ms, [&] {
        printf("second\n");
        loop.stop();
    });
    loop.afterMessage(10ms, [] { printf("first\n"); });
    loop.after(1ms, [] { printf("a timer of the loop needs no hub\n"); });
    return loop.run();
}

/* Prints:
a timer of the loop needs no hub
first
second
*/

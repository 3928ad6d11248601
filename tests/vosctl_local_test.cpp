// vosctl's commands that need no hub: what they print, their exit status and their advice.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "support/complaints.h"
#include "support/files.h"
#include "support/shell.h"

using testing::ContainsRegex;
using testing::HasSubstr;
using vostest::Outcome;

namespace {

TEST(VosctlLocal, PrintsWhatTheLibraryFinds) {
    ASSERT_EQ(system("ip netns add vosrun"), 0);
    // Arguments, a regular expression for the output, input.
    using Row = std::array<const char *, 3>;
    for (const auto &[arguments, out, input] :
         {Row{"if", "^INTERFACE.*\nlo +up +00:00:00:00:00:00 127.0.0.1 +255.0.0.0 +127.0.0.0\n"},
          Row{"if lo --json", "^\\{\"name\":\"lo\",\"up\":true,.*\"subnet\":\"127.0.0.0\",\"ipv6\":\\[.*\\]\\}\n$"},
          Row{"entities --json", "^\\[\\{\"eid\":[0-9]+,\"name\":\"[a-z]+\",\"accessBit\":[0-9]+\\},.*\\}\\]\n$"},
          Row{"nfc url http://example.net", "d1 01 13 55.*http://example"},
          Row{"nfc url $(printf %0254d 1)", "d1 01 ff 55"}, Row{"nfc wifi $(printf %032d 1)", "pplication/vnd.w"},
          Row{"nfc wifi home --auth wpa2 --key secret", "pplication/vnd.w"},
          Row{"nfc url http://a.b -o /tmp/tag && wc -c </tmp/tag", "43\n$"},
          Row{"run -q -- echo one two", "^one two\n$"},
          Row{"run -q --limit-nofile 33 --dir / -- /bin/sh /proc/self/fd/0", "^33\n/\n$", "ulimit -n; pwd"},
          Row{"run -q --uid 33 --netns vosrun -- /bin/sh", "^33\ndown\n$", "id -u; cat /sys/class/net/lo/operstate"},
          Row{"xml -", "^element +r\n +attribute a\n +value +1\n +element +b\n +end +\n +text +t\nend +r\n$",
              "<r a=\"1\"><b/>t</r>"},
          Row{"xml -", "text +\\.\\[31m\n", "<r>\033[31m</r>"}}) {
        SCOPED_TRACE(arguments);
        const Outcome outcome = vostest::shell("printf '%s' '" + std::string{input == nullptr ? "" : input} +
                                               "' | '" VOS_TEST_BIN_DIR "/vosctl' " + arguments);
        EXPECT_EQ(std::to_string(outcome.status) + outcome.err, "0");
        EXPECT_THAT(outcome.out, ContainsRegex(out));
    }
    EXPECT_EQ(system("ip netns del vosrun"), 0);
}

TEST(VosctlLocal, SaysInOneLineWhatIsWrong) {
    vostest::expectComplaints({
        {"if none0", 1, "there is no interface 'none0'"},
        {"resolve x --server 127.0.0.1", 1, "no IPv4 address of 'x' from 127.0.0.1"},
        {"resolve x --server 127.0.0.1 --if none0", 1, "there is no interface 'none0'"},
        {"resolve x --server ten", 2, "'ten' is no IP address"},
        {"resolve x -6 --server 127.0.0.1", 2, "over IPv6 only"},
        {"run --timeout 10 -- sleep 100", 1, "was ended by signal 9"},
        {"run -- false", 1, "exited with 1"},
        {"run -- nonesuch", 1, "not in PATH"},
        {"run -- echo 'two words'", 2, "split at blanks"},
        {"run --dir /etc/passwd -- true", 1, "'/etc/passwd' is no directory to start in"},
        {"run --uid 4294967295 -- true", 1, "the user id 4294967295 cannot be had"},
        {"run --limit-nofile 4000000000 -- true", 1, "the limit --limit-nofile 4000000000"},
        {"run -- /bin/", 1, "'/bin/' is no program"},
        {"run --netns none0 -- true", 1, "cannot enter the network namespace 'none0'"},
        {"nfc url $(printf %0255d 1)", 2, "at most 254 characters"},
        {"nfc wifi $(printf %033d 1)", 2, "at most 32 bytes; this one has 33"},
        {"nfc wifi home --key $(printf %0218d 1)", 2, "at most 221 characters in all"},
        {"load --watch --interval 1 >/dev/full", 1, "cannot write the result: No space"},
        {"xml /absent", 1, "cannot read /absent"},
        {"xml /dev/null", 1, "not closed"},
        {"nfc url http://a.b -o /proc/none", 1, "/proc/none"},
        {"nfc url http://a.b >/dev/full", 1, "cannot write the result: No space"},
    });
}

TEST(VosctlLocal, PassesStopSignalsToTheProgramThatItRuns) {
    const vostest::TempDir directory;
    const std::string script = directory / "script";
    const std::string fifo = directory / "fifo";
    vostest::writeText(script, "trap 'exit 3' TERM; echo ready; while :; do sleep 0.01; done");
    const Outcome outcome =
        vostest::shell("mkfifo " + fifo + "; '" VOS_TEST_BIN_DIR "/vosctl' run --timeout 20000 -- /bin/sh " + script +
                       " >" + fifo + " & read ready <" + fifo + "; kill $!; wait $!");
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr(" exited with 3\n"));
}

}  // namespace

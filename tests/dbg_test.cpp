// Diagnostic channel: the gate file decides at every message.
#include "vos/dbg.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "support/files.h"
#include "support/syslog_catcher.h"

using vostest::SyslogCatcher;
using vostest::SyslogLine;

namespace {

int g_evaluations = 0;

int evaluated() {
    return ++g_evaluations;
}

TEST(DiagnosticChannel, FollowsTheGateAtEveryMessage) {
    SyslogCatcher catcher;
    VOS_DBG_ERROR("closed %d", evaluated());
    utilAst_assertFunc("a.c", 3, "x > 0", 0);
    EXPECT_EQ(g_evaluations, 0) << "arguments of a suppressed message are not evaluated";
    EXPECT_TRUE(catcher.take().empty());

    vostest::writeText(VOS_DBG_GATE_FILE, "");
    const int line = __LINE__ + 1;
    VOS_DBG_ERROR("open %d", evaluated());
    VOS_DBG_WARN("no arguments");
    VOS_DBG_DEBUG("%s", "trace");
    utilAst_assertFunc("src/x.c", 77, "idx > 0", 1);
    utilAst_assertFunc("src/x.c", 77, "idx < len", 0);
    const std::vector<SyslogLine> lines = catcher.take();
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0].priority, LOG_ERR);
    EXPECT_EQ(lines[0].text, "[TestBody:" + std::to_string(line) + "]: open 1");
    EXPECT_EQ(lines[1].priority, LOG_WARNING);
    EXPECT_EQ(lines[1].body(), "no arguments");
    EXPECT_EQ(lines[2].priority, LOG_DEBUG);
    EXPECT_EQ(lines[3].priority, LOG_ERR);
    EXPECT_EQ(lines[3].text, "[utilAst_assertFunc:9]: assertion \"idx < len\" failed at src/x.c:77");

    remove(VOS_DBG_GATE_FILE);
    VOS_DBG_ERROR("closed again");
    EXPECT_TRUE(catcher.take().empty());
}

}  // namespace

// Stands in for vos/dbg.h under cppcheck, whose preprocessor knows no __VA_OPT__.
#pragma once
#include <stdio.h>
#define VOS_DBG_ERROR(...) printf(__VA_ARGS__)
#define VOS_DBG_WARN(...) printf(__VA_ARGS__)
#define VOS_DBG_DEBUG(...) printf(__VA_ARGS__)
#define UTIL_ASSERT(expression) ((void)(expression))
extern "C" void utilAst_assertFunc(const char *file, int line, const char *exprText, int condition);

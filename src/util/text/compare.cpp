// Comparing and searching texts, NULL included.
#include <algorithm>
#include <cctype>
#include <cstring>

#include "internal/own_names.h"
#include "vos/text.h"

namespace {

const char *orEmpty(const char *s) {
    return s == nullptr ? "" : s;
}

int lower(char c) {
    return tolower(static_cast<unsigned char>(c));
}

int compareIgnoringCase(const char *a, const char *b, size_t n) {
    if (a == nullptr || b == nullptr) {
        return a == b ? 0 : a == nullptr ? -1 : 1;
    }
    for (size_t i = 0; i < n; i++) {
        if (a[i] == '\0') {
            return b[i] == '\0' ? 0 : -1;
        }
        if (b[i] == '\0') {
            return 1;
        }
        const int difference = lower(a[i]) - lower(b[i]);
        if (difference != 0) {
            return difference;
        }
    }
    return 0;
}

}  // namespace

uint32_t util_strlen(const char *s) {
    return static_cast<uint32_t>(strlen(orEmpty(s)));
}

int util_strcmp(const char *a, const char *b) {
    return strcmp(orEmpty(a), orEmpty(b));
}

int util_strcasecmp(const char *a, const char *b) {
    return strcasecmp(orEmpty(a), orEmpty(b));
}

int util_strncmp(const char *a, const char *b, uint32_t n) {
    return strncmp(orEmpty(a), orEmpty(b), n);
}

int util_strncasecmp(const char *a, const char *b, uint32_t n) {
    return strncasecmp(orEmpty(a), orEmpty(b), n);
}

char *util_strstr(const char *haystack, const char *needle) {
    return const_cast<char *>(strstr(orEmpty(haystack), orEmpty(needle)));
}

char *util_strcasestr(const char *haystack, const char *needle) {
    return const_cast<char *>(strcasestr(orEmpty(haystack), orEmpty(needle)));
}

VOS_OPEN_NAME int safe_strcmpIgnoreCase(const char *a, const char *b) {
    return compareIgnoringCase(a, b, SIZE_MAX);
}

VOS_OPEN_NAME int safe_strncmpIgnoreCase(const char *a, const char *b, int32_t n) {
    return compareIgnoringCase(a, b, static_cast<size_t>(std::max(n, 0)));
}

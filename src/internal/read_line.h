// Lines of a file through a buffer of fixed size.
#pragma once

#include <cstdio>
#include <cstring>

namespace vos {

enum class Line {
    kNone,  // end of file
    kWhole,
    kCut,        // longer than the buffer: its first part is there, the rest was skipped
    kUnfinished  // the file ended before the newline
};

/** Reads the next line without its newline. */
inline Line readLine(FILE *file, char *line, size_t size) {
    if (fgets(line, static_cast<int>(size), file) == nullptr) {
        return Line::kNone;
    }
    const size_t length = strlen(line);
    if (length > 0 && line[length - 1] == '\n') {
        line[length - 1] = '\0';
        return Line::kWhole;
    }
    if (length < size - 1) {
        return Line::kUnfinished;  // or a line with a NUL in it, which no text file has
    }
    int c = getc(file);
    const bool fits = c == '\n';
    while (c != EOF && c != '\n') {
        c = getc(file);
    }
    return fits ? Line::kWhole : Line::kCut;
}

}  // namespace vos

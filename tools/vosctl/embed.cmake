# cmake -D IN=FILE -D OUT=HEADER -P embed.cmake: the bytes of a file as an array.
file(READ ${IN} bytes HEX)
string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1, " bytes "${bytes}")
file(WRITE ${OUT} "inline constexpr unsigned char kReportTemplate[] = {\n${bytes}};\n")

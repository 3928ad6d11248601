// What hub_load prints, as Markdown.
#pragma once

#include <string>

namespace load {

void tableOfFloods(const std::string &program);
void tableOfMemory(const std::string &program);
void tableOfClients(const std::string &program);

}  // namespace load

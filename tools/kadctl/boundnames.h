// The names that this process has on the bus, so that a signal that ends it can take them away first: a client that is
// interrupted, or whose output is closed, leaves no socket behind. A program asks for that before its first client, and
// has its clients in one thread; else nothing is noted.
#pragma once

#include <string>

namespace kadctl {

void noteName(int directory, const std::string& name);  // names beyond the fourth are not noted
void dropName(int directory, const std::string& name);  // removes it from the directory too
void dropNamesAtSignals();                              // SIGHUP, SIGINT, SIGPIPE and SIGTERM, where not ignored

}  // namespace kadctl

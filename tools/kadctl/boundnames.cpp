#include "kadctl/boundnames.h"

#include <unistd.h>

#include <array>
#include <csignal>
#include <cstddef>
#include <cstring>

namespace kadctl {

namespace {

struct BoundName {
  volatile sig_atomic_t there;
  int directory;
  char name[16];
};
std::array<BoundName, 4> g_names{};
bool g_noted = false;

void dropAll(int signal) {
  for (const BoundName& bound : g_names) {
    if (bound.there != 0) ::unlinkat(bound.directory, bound.name, 0);
  }
  ::raise(signal);  // takes effect when this returns
}

}  // namespace

void noteName(int directory, const std::string& name) {
  if (!g_noted) return;
  for (BoundName& bound : g_names) {
    if (bound.there != 0 || name.size() >= sizeof bound.name) continue;
    bound.directory = directory;
    std::memcpy(bound.name, name.c_str(), name.size() + 1);
    bound.there = 1;
    return;
  }
}

void dropName(int directory, const std::string& name) {
  ::unlinkat(directory, name.c_str(), 0);
  if (!g_noted) return;
  for (BoundName& bound : g_names) {
    if (bound.there != 0 && bound.directory == directory && name == bound.name) bound.there = 0;
  }
}

void dropNamesAtSignals() {
  g_noted = true;
  for (const int signal : {SIGHUP, SIGINT, SIGPIPE, SIGTERM}) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action.sa_handler = dropAll;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    ::sigaction(signal, &action, nullptr);
  }
}

}  // namespace kadctl

#include "envstore.h"

#include "sysconfenv.h"

namespace TIRK_MCUC {

EnvStore::EnvStore() : m_open(sysconf_openenv() == 0) {}

EnvStore::~EnvStore() {
  sysconf_closeenv();
}

std::optional<std::string> EnvStore::get(const std::string& key) const {
  if (!m_open) return std::nullopt;
  const char* value = sysconf_getenv(key.c_str());
  if (value == nullptr) return std::nullopt;
  return std::string(value);
}

bool EnvStore::set(const std::string& key, const std::string& value) {
  return sysconf_setenv(key.c_str(), value.c_str()) == 0;
}

}  // namespace TIRK_MCUC

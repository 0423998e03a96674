// Unix sockets below a board's directory, whose path may be longer than a socket address holds.
#pragma once

#include <string>

#include "uniquefd.h"

namespace kadctl {

// Opens a directory for the two below. Throws ClientError.
TIRK_MCUC::UniqueFd openDirectory(const std::string& path);

// Connects a socket of `type` to, or binds one as, `name` below the directory. Throws ClientError.
TIRK_MCUC::UniqueFd connectBelow(const TIRK_MCUC::UniqueFd& directory, const std::string& name, int type);
TIRK_MCUC::UniqueFd bindBelow(const TIRK_MCUC::UniqueFd& directory, const std::string& name, int type);

}  // namespace kadctl

#pragma once

#include <stdexcept>

namespace kadctl {

// What kept a command from being done, in words for the user.
class ClientError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace kadctl

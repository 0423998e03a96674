// Files of the board's directory, and where the device's paths are in it.
//
// Names here are paths of this machine as boardFile() and devicePath() give them. What is made is its owner's alone. A
// symbolic link as the last part of a name is never followed. Failures set errno.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "virtual/descriptor.h"

namespace vboard {

Descriptor openFile(const std::string& name, int flags);  // close-on-exec; O_CREAT makes it 0600
int writeAll(int fd, std::string_view bytes);             // 0 or -1
// At an offset, all bytes or -1: the end of the file before `out` is full is a failure.
int readAllAt(int fd, std::span<uint8_t> out, uint64_t offset);
int writeAllAt(int fd, std::span<const uint8_t> data, uint64_t offset);
int makeDirectory(const std::string& name);                    // 0, also when it is there already
std::optional<std::string> readFile(const std::string& name);  // regular files only
// The file holds either its old text or the new one, whatever happens.
int replaceFile(const std::string& name, std::string_view text);

// Opens a directory by a path of any length, and makes the directories that are missing.
Descriptor openDirectory(const std::string& path);

// Whether a symbolic link that a path ends in stands for itself or for what it points to.
enum class LastLink { Follow, Keep };

// Where an absolute path of the device is: a name without links or "..", below the board's root. Empty when the path is
// not absolute or leads out of the root, be it by ".." or by a link (an absolute link always does).
std::optional<std::string> devicePath(std::string_view path, LastLink last = LastLink::Follow);

// The same for a path of the board's own; throws std::runtime_error when it leads out.
std::string ownPath(std::string_view path);

// Makes a directory of the device and those above it: 0, or -1.
int makeDeviceDirectory(std::string_view path);

std::string systemError();  // errno as text

}  // namespace vboard

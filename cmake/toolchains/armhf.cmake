# 32-bit ARM boards with a floating-point unit (Debian's armhf). Programs run here under emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)  # notes on what GCC 7 changed; everything here is built with one compiler
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)

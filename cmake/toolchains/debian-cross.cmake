# What Debian's cross compilers have in common. Their C and C++ libraries are in /usr/<architecture>; headers that belong
# to no architecture are those of this machine, and so are programs.
set(CMAKE_FIND_ROOT_PATH /usr/${CMAKE_LIBRARY_ARCHITECTURE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/emulate-${CMAKE_SYSTEM_PROCESSOR})

# Shared part of the cross toolchains: Debian's cross compilers for
# PZ_CROSS_TRIPLET, cJSON from the target's multiarch directory (installed
# with `dpkg --add-architecture` and libcjson-dev:ARCH), and the programs run
# under qemu-user. Included by the per-target files beside it.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${PZ_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PZ_CROSS_TRIPLET}-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR ${PZ_CROSS_QEMU})
set(cJSON_DIR /usr/lib/${PZ_CROSS_MULTIARCH}/cmake/cJSON CACHE PATH "cJSON of the target")

# cJSON's header is shared with the host in /usr/include; searched after the
# target's own headers, so nothing else is taken from the host.
string(APPEND CMAKE_C_FLAGS_INIT " -idirafter /usr/include")
string(APPEND CMAKE_CXX_FLAGS_INIT " -idirafter /usr/include")
# The target's C++ and sanitizer runtimes are not installed where its loader
# looks (only its C library and cJSON are): link them in.
string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -static-libstdc++ -static-libgcc -static-libubsan")

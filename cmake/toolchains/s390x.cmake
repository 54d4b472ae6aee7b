# 64-bit IBM Z: big-endian.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(PZ_CROSS_TRIPLET s390x-linux-gnu)
set(PZ_CROSS_MULTIARCH s390x-linux-gnu)
set(PZ_CROSS_QEMU qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)

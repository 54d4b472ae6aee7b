# 32-bit x86: 4-byte long and pointers, 64-bit members 4-byte aligned in
# records.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(PZ_CROSS_TRIPLET i686-linux-gnu)
set(PZ_CROSS_MULTIARCH i386-linux-gnu)
set(PZ_CROSS_QEMU qemu-i386)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)

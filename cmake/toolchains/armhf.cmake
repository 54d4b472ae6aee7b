# 32-bit ARM, hard float: 4-byte long and pointers, 8-byte alignment of
# 64-bit integers and doubles.
set(CMAKE_SYSTEM_PROCESSOR arm)
set(PZ_CROSS_TRIPLET arm-linux-gnueabihf)
set(PZ_CROSS_MULTIARCH arm-linux-gnueabihf)
set(PZ_CROSS_QEMU qemu-arm)

# ARM rather than Thumb code: a Thumb function's address is odd, which UBSan
# reports as a misaligned reference wherever a function binds to one.
string(APPEND CMAKE_C_FLAGS_INIT " -marm")
string(APPEND CMAKE_CXX_FLAGS_INIT " -marm")
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)

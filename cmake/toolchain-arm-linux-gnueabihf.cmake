# Cross-compiles for 32-bit ARM Linux hosts (ARMv7, hard float) with Debian's
# g++-arm-linux-gnueabihf; test programs run under qemu-user with the cross C library as
# their root, so ctest runs them as it would natively:
#   cmake -S . -B build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-arm-linux-gnueabihf.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(TARN_CROSS_TRIPLE arm-linux-gnueabihf)
set(TARN_CROSS_SYSROOT /usr/${TARN_CROSS_TRIPLE})
set(CMAKE_C_COMPILER ${TARN_CROSS_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${TARN_CROSS_TRIPLE}-g++)

# Libraries and packages come from the cross C library only, never from the host's x86-64
# ones; programs (nm, the emulator) are the host's.
set(CMAKE_FIND_ROOT_PATH ${TARN_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# GCC notes that passing some types changed in GCC 7.1; nothing here links code that old.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm;-L;${TARN_CROSS_SYSROOT})

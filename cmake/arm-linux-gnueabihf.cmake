# Cross build for 32-bit ARM (hard float); tests run under qemu user mode.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-arm -L /usr/arm-linux-gnueabihf)
# The device's ARMv7 cores have NEON, as Android's armeabi-v7a ABI assumes.
# The compiler uses it for integer vector code only: NEON float arithmetic
# flushes denormals to zero, so without -funsafe-math-optimizations (never
# set) float code stays on the IEEE VFP unit and results do not change.
set(CMAKE_C_FLAGS_INIT "-mfpu=neon")
set(CMAKE_CXX_FLAGS_INIT "-mfpu=neon")

# One warning policy for every target of the project.
add_library(vantrel_warnings INTERFACE)
target_compile_options(vantrel_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Woverloaded-virtual
  -Wnull-dereference -Wimplicit-fallthrough -Wformat=2)
if(VANTREL_WERROR)
  target_compile_options(vantrel_warnings INTERFACE -Werror)
endif()
# GCC 12's -O2/-O3 inlining of libstdc++ (string concatenation, stream buffers) raises
# -Wrestrict and -Wnull-dereference inside the library's own headers on correct code
# (GCC bugs 105329 and 105651). Optimised GCC 12 builds leave those two out; the debug
# and sanitizer builds, which don't inline that far, keep them as errors.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(vantrel_warnings INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-Wno-restrict -Wno-null-dereference>)
endif()

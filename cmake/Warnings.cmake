# One warning policy for every target of the project.
add_library(vantrel_warnings INTERFACE)
target_compile_options(vantrel_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Woverloaded-virtual
  -Wnull-dereference -Wimplicit-fallthrough -Wformat=2)
if(VANTREL_WERROR)
  target_compile_options(vantrel_warnings INTERFACE -Werror)
endif()

# Our own code is held to these; headers of libraries come in as system headers.
add_library(vexo_warnings INTERFACE)
target_compile_options(vexo_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(VEXO_WERROR)
  target_compile_options(vexo_warnings INTERFACE -Werror)
endif()

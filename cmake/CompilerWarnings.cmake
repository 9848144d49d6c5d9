# One warning set for every target of the project: the build is kept clean
# under both g++ and clang.
add_library(ornc_warnings INTERFACE)
target_compile_options(ornc_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wcast-align
  -Wnull-dereference -Wdouble-promotion
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast>
  $<$<BOOL:${ORNC_WERROR}>:-Werror>)
option(ORNC_WERROR "Treat warnings as errors" ON)

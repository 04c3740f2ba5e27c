# One set of warnings for every target and both compilers, all of them errors.
add_library(warnings INTERFACE)
target_compile_options(
  warnings
  INTERFACE -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2 -Wundef
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>
            $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>
            # Where sizes have the width of macro words, a cast from the one to the other is needed elsewhere only.
            $<$<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<EQUAL:${CMAKE_SIZEOF_VOID_P},8>>:-Wuseless-cast>
            $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wunused-comparison>)

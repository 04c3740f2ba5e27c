# One set of warnings for every target and both compilers, all of them errors.
add_library(warnings INTERFACE)
target_compile_options(
  warnings
  INTERFACE -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wcast-align -Wformat=2 -Wundef
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>
            $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wuseless-cast>
            $<$<COMPILE_LANG_AND_ID:CXX,Clang>:-Wunused-comparison>)

# toml++, with what it lacks.
find_path(TOMLPLUSPLUS_INCLUDE_DIR toml++/toml.h REQUIRED)
add_library(toml INTERFACE)
target_include_directories(toml SYSTEM INTERFACE ${PROJECT_SOURCE_DIR}/cmake/toml ${TOMLPLUSPLUS_INCLUDE_DIR})

# Writes a source file that holds text files as string literals:
#   cmake -DOUTPUT=file.cpp "-DINPUTS=a.toml;b.toml" -DFUNCTION=f -DNAMESPACE=ns -DHEADER=path.hpp -P embed.cmake
# The header declares, in that namespace, `std::span<const toml_file::Embedded> f();`.
set(rows "")
foreach(input IN LISTS INPUTS)
  get_filename_component(name ${input} NAME_WE)
  file(READ ${input} text)
  # A literal may hold 65,536 characters at the least: long texts are cut into pieces that the compiler joins.
  string(LENGTH "${text}" length)
  set(pieces "")
  set(at 0)
  while(at LESS length)
    string(SUBSTRING "${text}" ${at} 8000 piece)
    string(APPEND pieces "R\"embedded(${piece})embedded\"\n")
    math(EXPR at "${at} + 8000")
  endwhile()
  string(APPEND rows "    {\"${name}\", ${pieces}},\n")
endforeach()
file(
  WRITE ${OUTPUT}.new
  "// Made at build time.\n#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\nnamespace {\nconstexpr toml_file::Embedded FILES[] = {\n${rows}};\n}\nstd::span<const toml_file::Embedded> ${FUNCTION}() { return FILES; }\n}\n")
file(RENAME ${OUTPUT}.new ${OUTPUT})

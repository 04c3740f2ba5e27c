# Three Debian packages, each of one component of the installation.  What they need of the system is read from the
# binaries; on each other they depend in the same version, because the host and the libraries are built together.
set(CPACK_GENERATOR DEB)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# Each package has a summary of its own, in the first line of its description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "macrodebug maintainers")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL libraries development tools)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# package(COMPONENT NAME SECTION DEPENDS SUMMARY TEXT): a package, with its copyright where Debian looks for it.
function(package component name section depends summary text)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ${depends} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} RENAME copyright
          COMPONENT ${component})
endfunction()

# Both libraries have the project's major version in their names: they change together.
set(libraries libmacrodebug${PROJECT_VERSION_MAJOR})
set(same_libraries "${libraries} (= ${PROJECT_VERSION})")
package(libraries ${libraries} libs ""
        "${PROJECT_DESCRIPTION}"
        "The macro library libmacrodebug, and the primitive library libscdb through which macros reach the hardware, with a simulated server behind it.")
foreach(script postinst postrm)
  configure_file(library-cache.sh ${script} COPYONLY)
  list(APPEND CPACK_DEBIAN_LIBRARIES_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_BINARY_DIR}/${script})
endforeach()
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_LIBRARIES_PACKAGE_GENERATE_SHLIBS_POLICY "=")
package(development libmacrodebug-dev libdevel "${same_libraries}"
        "Development files of the macro and primitive libraries"
        "Headers, CMake package and pkg-config file for programs and macro libraries that use libmacrodebug or libscdb.")
package(tools mcrhost utils "${same_libraries}"
        "Host of hardware test and debug macros"
        "Lists, explains and runs the macros of libmacrodebug, reaches the hardware directly, and says what came of it.")
include(CPack)

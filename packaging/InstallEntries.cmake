# Run by "cmake --install", with the folders of packaging/CMakeLists.txt: writes the files that name the program by its
# path, and the link under whose name the bus starts it.

# As desktop entries and the bus read it: where it is not plain, in quotes, in which a backslash makes special characters
# plain, and with each backslash doubled.
function(quoted result path)
  if(path MATCHES "^[A-Za-z0-9/_.+-]+$")
    set(${result} "${path}" PARENT_SCOPE)
    return()
  endif()
  string(REPLACE "\\" "\\\\\\\\" path "${path}")
  foreach(character IN ITEMS "\"" "`" "$")
    string(REPLACE "${character}" "\\\\${character}" path "${path}")
  endforeach()
  set(${result} "\"${path}\"" PARENT_SCOPE)
endfunction()

function(write_entry template folder)
  set(target "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${folder}")
  string(REGEX REPLACE "\\.in$" "" name "${template}")
  message(STATUS "Installing: ${target}/${name}")
  configure_file("${source}/${template}" "${target}/${name}" @ONLY NEWLINE_STYLE UNIX
    NO_SOURCE_PERMISSIONS)
  set(CMAKE_INSTALL_MANIFEST_FILES "${CMAKE_INSTALL_MANIFEST_FILES};${target}/${name}" PARENT_SCOPE)
endfunction()

quoted(service "${CMAKE_INSTALL_PREFIX}/${libexec_folder}/frameflow/frameflow-service")
quoted(program "${CMAKE_INSTALL_PREFIX}/${bin_folder}/frameflow")
string(REPLACE "%" "%%" program "${program}")
write_entry("${id}.desktop.in" "${data_folder}/applications")
write_entry("${id}.service.in" "${data_folder}/dbus-1/services")

set(link_folder "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${libexec_folder}/frameflow")
file(RELATIVE_PATH way "${CMAKE_INSTALL_PREFIX}/${libexec_folder}/frameflow"
  "${CMAKE_INSTALL_PREFIX}/${bin_folder}/frameflow")
message(STATUS "Installing: ${link_folder}/frameflow-service")
file(CREATE_LINK "${way}" "${link_folder}/frameflow-service" SYMBOLIC)
list(APPEND CMAKE_INSTALL_MANIFEST_FILES "${link_folder}/frameflow-service")

# Run by CPack when all files are in place, before they are packed: adds what Debian wants beside a program, its
# licence and its changes, compresses what Debian wants compressed, and sets the rights of folders, whatever those of new
# ones are where the package is made.

set(root "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
set(documents "${root}/usr/share/doc/${CPACK_PACKAGE_NAME}")
set(version "${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

function(compressed) # FILE…: with nothing in them of the day on which that was done
  foreach(file IN LISTS ARGN)
    file(CHMOD "${file}" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    execute_process(COMMAND gzip -9nf "${file}" COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endfunction()

file(READ "${CMAKE_CURRENT_LIST_DIR}/../LICENSE" licence)
file(WRITE "${documents}/copyright" "Frameflow, all files of this package:\n\n${licence}")
file(CHMOD "${documents}/copyright" PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

configure_file("${CMAKE_CURRENT_LIST_DIR}/../CHANGELOG.md" "${documents}/changelog" COPYONLY)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE "${documents}/changelog.Debian" "${CPACK_PACKAGE_NAME} (${version}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}; changelog.gz says what is new in it.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
file(GLOB pages "${root}/usr/share/man/man1/*.1")
compressed("${documents}/changelog" "${documents}/changelog.Debian" ${pages})

file(CHMOD_RECURSE "${root}/usr" DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

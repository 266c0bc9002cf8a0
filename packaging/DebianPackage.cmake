# The package for Debian, as CPack makes it: "scripts/package" is the way to call that.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME "${PROJECT_NAME}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_VENDOR "The Frameflow developers")
# The reserved name stands here until the maker has a host.
set(CPACK_PACKAGE_CONTACT "The Frameflow developers <developers@frameflow.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_DESCRIPTION
"Given a folder, several folders or a handful of files, Frameflow shows what it
finds there one after another, full screen on the display of your choice or in
a window, with a soft transition between the slides.

It shows pictures of the common types, camera raw pictures, drawings, movies
and music. Pictures come upright and in their right colours; a folder is
watched while it is shown, and new files join the show. Files are decoded by
processes of their own that can neither write nor reach the network.")

# The entries name the program by its path: the package is laid out below a root, not below a prefix of its own.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX "/usr")
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_SOURCE_DIR}/DebianDocuments.cmake")

set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# What is linked is found in the programs. What is loaded or read while they run:
set(loaded
  libmpv2 # the movie player
  libqt6svg6 # the plug-in for drawings
  qt6-image-formats-plugins # those for WebP, TIFF, Targa
  qt6-qpa-plugins # those for the X server, and for decoders, which have no display
  shared-mime-info) # the types of files
# Without these everything is shown all the same.
set(recommended
  qt6-wayland # the plug-in for Wayland; without it the X server of that desktop is used
  "default-dbus-session-bus | dbus-session-bus" # one program in a session
  libcurl4 # the check for a newer version
  ca-certificates) # who may vouch for its server
list(JOIN loaded ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
list(JOIN recommended ", " CPACK_DEBIAN_PACKAGE_RECOMMENDS)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

include(CPack)

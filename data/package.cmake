# The Debian package, built by scripts/package with cpack. Its dependencies
# are those dpkg-shlibdeps finds in the program plus what Qt loads at run
# time without linking: picture format plugins, and an icon theme for the
# file-type icons.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zanderfell)
set(CPACK_PACKAGE_VENDOR "Zanderfell")
set(CPACK_PACKAGE_CONTACT "Zanderfell developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Usenet binary newsreader")
set(CPACK_PACKAGE_DESCRIPTION
    "Zanderfell talks NNTP to news servers, lists their groups and the subjects\n\
of a group, recognises posts split over many articles, fetches every part and\n\
decodes the attachment (uuencode, base64 or yEnc) into a download directory,\n\
previewing pictures as they arrive.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION news)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-image-formats-plugins, adwaita-icon-theme")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland")
include(CPack)

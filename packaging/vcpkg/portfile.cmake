vcpkg_check_linkage(ONLY_DYNAMIC_LIBRARY)

# ARCHIVE-URL: where the owner of the library has put the archive of its sources.
vcpkg_download_distfile(archive
  URLS "ARCHIVE-URL/quillet-@VERSION@.tar.gz"
  FILENAME quillet-@VERSION@.tar.gz
  SHA512 @SHA512@
)
vcpkg_extract_source_archive(sources ARCHIVE "${archive}")

vcpkg_cmake_configure(
  SOURCE_PATH "${sources}"
  OPTIONS
    -DQUILLET_SUBFOLDER=
    -DQUILLET_BUILD_TESTS=OFF
    -DQUILLET_BUILD_BENCH=OFF
)
vcpkg_cmake_install()
vcpkg_cmake_config_fixup(CONFIG_PATH lib/cmake/Quillet)
vcpkg_fixup_pkgconfig()
vcpkg_copy_tools(TOOL_NAMES quillet quillet_viewer AUTO_CLEAN)
file(REMOVE_RECURSE
  "${CURRENT_PACKAGES_DIR}/debug/include"
  "${CURRENT_PACKAGES_DIR}/debug/share"
  "${CURRENT_PACKAGES_DIR}/share/licenses"
)
vcpkg_install_copyright(FILE_LIST "${sources}/LICENCE.txt")

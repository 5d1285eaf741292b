# `cpack -G External` runs this script. It packs the component `program` into a .tar.gz, for system images
# without dpkg. The paths in the archive start at the root directory, and root owns every file.
set(name ${CPACK_PACKAGE_NAME}_${CPACK_PACKAGE_VERSION}_${CPACK_DEBIAN_PACKAGE_ARCHITECTURE}.tar.gz)
set(tarball ${CPACK_PACKAGE_DIRECTORY}/${name})
execute_process(
    COMMAND tar --format=ustar --sort=name --owner=0 --group=0 --numeric-owner
        --directory ${CPACK_TEMPORARY_DIRECTORY}/program --create ./usr
    COMMAND gzip -9n
    OUTPUT_FILE ${tarball} RESULTS_VARIABLE results)
if(NOT results MATCHES "^0;0$")
    message(FATAL_ERROR "${tarball} cannot be created: ${results}")
endif()
set(CPACK_EXTERNAL_BUILT_PACKAGES ${tarball})

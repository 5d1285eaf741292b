# Defines the files that `cmake --install` installs below the prefix (and below DESTDIR, if that is set), and
# the packages that `cpack` creates: a Debian package for each component, and a .tar.gz for the component
# `program`. The components are:
#
# program  the programs for a meter, with their manual pages
# doc      the guides
# desk     the simulated meter for a workstation: cdsctl, the utility with a live view, the factory
#          defaults, and the simulated client library. CDS_ROOT may be the installed lib/meter-settings
#
# The programs are for a meter if they are built with the meter's client library or for the meter's
# processor. The programs of the host build contain the simulated meter, so they are for workstations.
include(GNUInstallDirs)

set(package_program meter-settings)
set(package_doc meter-settings-doc)
set(package_desk meter-settings-desk)
set(MAINTAINER "The meter-settings developers <meter-settings@example.org>")
find_program(GZIP gzip)
if(NOT GZIP)
    message(FATAL_ERROR "gzip is missing; it packs the manual pages")
endif()
add_custom_target(packaged) # builds everything that is installed; cpack builds this target first

# install_zipped(COMPONENT FILE DIRECTORY): compresses FILE without a time stamp, and installs the result.
function(install_zipped component file folder)
    get_filename_component(name ${file} NAME)
    set(zipped ${CMAKE_BINARY_DIR}/installed/${component}/${name}.gz)
    add_custom_command(OUTPUT ${zipped} DEPENDS ${file} VERBATIM
        COMMAND ${GZIP} -9nc ${file} > ${zipped})
    add_custom_target(zipped-${component}-${name} ALL DEPENDS ${zipped})
    add_dependencies(packaged zipped-${component}-${name})
    install(FILES ${zipped} DESTINATION ${folder} COMPONENT ${component})
endfunction()

# install_about(COMPONENT): installs the change log and the copyright file of the component's package. The
# date in the change log is SOURCE_DATE_EPOCH, if that is set.
function(install_about component)
    set(PACKAGE ${package_${component}})
    set(folder ${CMAKE_BINARY_DIR}/installed/${component})
    string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
    configure_file(cmake/package/changelog.in ${folder}/changelog @ONLY)
    install_zipped(${component} ${folder}/changelog ${CMAKE_INSTALL_DATADIR}/doc/${PACKAGE})
    install(FILES cmake/package/copyright
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${PACKAGE} COMPONENT ${component})
endfunction()

get_property(meter_programs GLOBAL PROPERTY METER_PROGRAMS)
foreach(program IN LISTS meter_programs)
    install(TARGETS ${program} DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT program)
    add_dependencies(packaged ${program})
    install_zipped(program ${PROJECT_SOURCE_DIR}/docs/man/${program}.8 ${CMAKE_INSTALL_MANDIR}/man8)
endforeach()
install_about(program)

set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package_program})
install(FILES CHANGELOG.md docs/technician.md docs/technician-card.md docs/trainer.md docs/integrator.md
        docs/what-a-save-does.md docs/what-a-save-calls.md docs/compatibility.md docs/glossary.md
        docs/options-list.md docs/simulated-meter.md docs/speed.md docs/doctor.md
    DESTINATION ${documents} COMPONENT doc)
install(DIRECTORY docs/pictures DESTINATION ${documents} COMPONENT doc FILES_MATCHING PATTERN *.svg)
install_about(doc)
set(components program doc)

if(ON_SIMULATED_METER)
    set(library_folder lib/meter-settings)
    if(NOT CMAKE_CROSSCOMPILING) # the live view, in one directory with the programs that it runs
        install(TARGETS meter-settings DESTINATION ${library_folder}/bin COMPONENT desk)
        file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/installed/desk)
        file(CREATE_LINK ../../../${CMAKE_INSTALL_BINDIR}/cdsctl
            ${CMAKE_BINARY_DIR}/installed/desk/cdsctl SYMBOLIC)
        install(FILES ${CMAKE_BINARY_DIR}/installed/desk/cdsctl
            DESTINATION ${library_folder}/bin COMPONENT desk)
        install(PROGRAMS simulator/cdsctl/watched-session
            DESTINATION ${library_folder}/bin COMPONENT desk)
        install(PROGRAMS simulator/cdsctl/meter-session
            DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT desk)
        install_zipped(desk ${PROJECT_SOURCE_DIR}/docs/man/meter-session.1
            ${CMAKE_INSTALL_MANDIR}/man1)
    endif()
    # The package contains the page only if ./page has built the page.
    install(FILES ${PROJECT_SOURCE_DIR}/build/web/meter.html
        DESTINATION ${CMAKE_INSTALL_DATADIR}/meter-settings COMPONENT desk OPTIONAL)
    install(TARGETS cds_shared cds++_shared DESTINATION ${library_folder}/lib COMPONENT desk)
    install(DIRECTORY simulator/include DESTINATION ${library_folder} COMPONENT desk)
    install(TARGETS cdsctl DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT desk)
    add_dependencies(packaged cds_shared cds++_shared cdsctl)
    set(completion simulator/cdsctl/completion)
    install(FILES ${completion}/cdsctl.bash RENAME cdsctl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT desk)
    install(FILES ${completion}/_cdsctl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT desk)
    install(FILES ${completion}/cdsctl.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT desk)
    if(HAVE_STATIC_PIE) # lintian mistakes a static program at a random address for a library
        install(FILES cmake/package/lintian-desk RENAME ${package_desk}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT desk)
    endif()
    install(FILES simulator/factory.toml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/meter-settings COMPONENT desk)
    install_zipped(desk ${PROJECT_SOURCE_DIR}/docs/man/cdsctl.1 ${CMAKE_INSTALL_MANDIR}/man1)
    install_zipped(desk ${PROJECT_SOURCE_DIR}/docs/man/store.toml.5 ${CMAKE_INSTALL_MANDIR}/man5)
    install_about(desk)
    list(APPEND components desk)
endif()

include(cmake/install_fleet.cmake)

set(CPACK_GENERATOR "DEB;External")
set(CPACK_PACKAGE_NAME meter-settings)
set(CPACK_PACKAGE_CONTACT ${MAINTAINER})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_STRIP_FILES ON)
set(CPACK_BUILD_FIRST ${PROJECT_SOURCE_DIR}/cmake/locked ${CMAKE_BINARY_DIR}
    ${CMAKE_COMMAND} --build ${CMAKE_BINARY_DIR} --target packaged)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package/before_packing.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/package/read_binaries.cmake)
set(CPACK_READELF ${CMAKE_READELF})
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_REQUESTED_VERSIONS 1.0)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${PROJECT_SOURCE_DIR}/cmake/package/tarball.cmake)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
foreach(component IN LISTS components)
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package_${component}})
endforeach()
set(CPACK_PROGRAM_BINARIES "")
foreach(program IN LISTS meter_programs)
    list(APPEND CPACK_PROGRAM_BINARIES ${CMAKE_BINARY_DIR}/${program})
endforeach()
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "settings of an electricity meter, on its serial console
Numbered menus in which a technician sees and changes the network settings
of a meter and, on request, its identity and installed options.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS ${package_doc})
set(CPACK_COMPONENT_DOC_DESCRIPTION "guides to the settings utility of an electricity meter
For technicians, integrators and developers: every screen and message, what
a save writes, the options, and how the utility is put on a meter.")
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
if(ON_SIMULATED_METER)
    set(CPACK_DESK_BINARIES ${CMAKE_BINARY_DIR}/cdsctl ${CMAKE_BINARY_DIR}/simulator/libcds.so
        ${CMAKE_BINARY_DIR}/simulator/libcds++.so)
    set(CPACK_COMPONENT_DESK_DESCRIPTION "simulated electricity meter for the settings utility
A simulation of the client library of the meter's configuration data store,
which keeps its leaves in a directory of plain files, and cdsctl, which reads
and changes them. For training and tests; nothing of it belongs on a meter.")
    set(CPACK_DEBIAN_DESK_PACKAGE_RECOMMENDS "${package_program}, tmux")
endif()
if(ON_SIMULATED_METER AND NOT CMAKE_CROSSCOMPILING)
    list(APPEND CPACK_DESK_BINARIES ${CPACK_PROGRAM_BINARIES}) # `desk` contains meter-settings too
    string(APPEND CPACK_COMPONENT_PROGRAM_DESCRIPTION "
This build carries the simulated meter: for workstations, not for meters.")
endif()
include(CPack)

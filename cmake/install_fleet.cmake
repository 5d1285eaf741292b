# Defines the component `fleet` for `cmake --install` and `cpack`: meter-fleet, its Python package, its
# Ansible collection and its documents. install.cmake includes this file after it has defined
# install_zipped and install_about, and before it lists the components for CPack.
#
# The component does not depend on a processor and is not for meters, so only the host build has it.
set(package_fleet meter-fleet)

if(ON_SIMULATED_METER AND NOT CMAKE_CROSSCOMPILING)
    # Debian's Python searches dist-packages for modules. Ansible searches share/ansible/collections.
    set(fleet_library lib/python3/dist-packages)
    install(PROGRAMS fleet/meter-fleet DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT fleet)
    install(DIRECTORY fleet/meter_fleet DESTINATION ${fleet_library} COMPONENT fleet
        FILES_MATCHING PATTERN *.py PATTERN __pycache__ EXCLUDE)
    install(DIRECTORY fleet/ansible/ansible_collections
        DESTINATION ${CMAKE_INSTALL_DATADIR}/ansible/collections COMPONENT fleet
        PATTERN __pycache__ EXCLUDE PATTERN LICENSE EXCLUDE PATTERN tests EXCLUDE)

    set(fleet_documents ${CMAKE_INSTALL_DATADIR}/doc/${package_fleet})
    install(FILES docs/commissioning.md DESTINATION ${fleet_documents} COMPONENT fleet)
    install(FILES docs/pictures/fleet-progress.svg
        DESTINATION ${fleet_documents}/pictures COMPONENT fleet)
    install(DIRECTORY fleet/ansible/example/
        DESTINATION ${fleet_documents}/examples/ansible COMPONENT fleet)
    install_zipped(fleet ${PROJECT_SOURCE_DIR}/docs/man/meter-fleet.1 ${CMAKE_INSTALL_MANDIR}/man1)
    install(FILES cmake/package/lintian-fleet RENAME ${package_fleet}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT fleet)
    install_about(fleet)
    list(APPEND components fleet)
endif()

set(CPACK_COMPONENT_FLEET_DESCRIPTION "settings of many electricity meters, from a plan
Operates the numbered menus on the consoles of one meter or a thousand: reads
the screens, compares them with a plan, types only what differs, saves once
and reads everything again. With modules for Ansible.")
set(CPACK_DEBIAN_FLEET_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_FLEET_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_FLEET_PACKAGE_DEPENDS
    "python3 (>= 3.11), python3-pexpect, python3-serial, python3-rich")
set(CPACK_DEBIAN_FLEET_PACKAGE_RECOMMENDS openssh-client)
set(CPACK_DEBIAN_FLEET_PACKAGE_SUGGESTS ansible-core)
# postinst compiles the Python package, because the users of meter-fleet cannot write to its directory.
set(CPACK_DEBIAN_FLEET_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/cmake/package/fleet/postinst
    ${PROJECT_SOURCE_DIR}/cmake/package/fleet/prerm)

# What `cmake --install` puts where, below the prefix (DESTDIR is obeyed):
#
# component program  the utility, its man page and documents
# component desk     the simulated meter in the shape of the meter's library (lib/meter-settings is a
#                    CDS_ROOT), the factory's leaves, cdsctl
include(GNUInstallDirs)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME program)

install(TARGETS meter-settings DESTINATION ${CMAKE_INSTALL_SBINDIR})

if(NOT CDS_ROOT)
    set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME desk)
    set(stand_in_folder lib/meter-settings)
    install(TARGETS cds_shared cds++_shared DESTINATION ${stand_in_folder}/lib)
    install(DIRECTORY simulator/include/ DESTINATION ${stand_in_folder}/include)
    install(FILES simulator/factory.toml DESTINATION ${CMAKE_INSTALL_DATADIR}/meter-settings)
endif()

# cpack includes this file before it packs. The file makes packages reproducible: the same sources give the
# same package. Directories become readable, whatever the umask was. If SOURCE_DATE_EPOCH is set, all files
# get this date.
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "failed with ${status}: ${ARGN}")
    endif()
endfunction()

run(find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} +)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    run(find ${CPACK_TEMPORARY_DIRECTORY} -exec touch -hd @$ENV{SOURCE_DATE_EPOCH} {} +)
endif()

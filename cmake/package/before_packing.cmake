# Included by cpack before it packs, so that the same sources give the same package: its directories
# can be entered whatever the umask was, and with SOURCE_DATE_EPOCH set everything has that date.
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

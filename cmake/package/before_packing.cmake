# Run by cpack before it packs, so that the same sources give the same package: its folders can be
# entered whatever the umask was, and with SOURCE_DATE_EPOCH set everything has that date.
execute_process(
    COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 {} +
    COMMAND_ERROR_IS_FATAL ANY)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(
        COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch -hd @$ENV{SOURCE_DATE_EPOCH} {} +
        COMMAND_ERROR_IS_FATAL ANY)
endif()

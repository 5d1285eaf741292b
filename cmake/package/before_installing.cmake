# Run by cpack before it installs: with Ninja, cpack itself would build nothing.
execute_process(COMMAND ${CPACK_BUILD_FIRST} COMMAND_ERROR_IS_FATAL ANY)

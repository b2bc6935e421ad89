# Gives all that goes into packages the date of SOURCE_DATE_EPOCH, where it is set.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND find "${CPACK_TEMPORARY_DIRECTORY}" -exec touch --no-dereference "--date=@$ENV{SOURCE_DATE_EPOCH}" {} +
                  COMMAND_ERROR_IS_FATAL ANY)
endif()

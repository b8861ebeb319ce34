# Installs FOLDER, where the project was built, to PREFIX, and fails if what is there then are other files than the ones
# that EXPECTED lists, less those that match WITHOUT.
file(REMOVE_RECURSE "${PREFIX}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${FOLDER}" --prefix "${PREFIX}" COMMAND_ERROR_IS_FATAL ANY)

file(GLOB_RECURSE installed RELATIVE "${PREFIX}" "${PREFIX}/*")
list(TRANSFORM installed REPLACE "/KavrelCryptoTargets-[a-z]+\\.cmake$" "/KavrelCryptoTargets-CONFIGURATION.cmake")
list(SORT installed)
file(STRINGS "${EXPECTED}" expected)
list(FILTER expected EXCLUDE REGEX "${WITHOUT}")
if(NOT installed STREQUAL expected)
    list(JOIN installed "\n" installed)
    message(FATAL_ERROR "These files were installed, which are not the ones that ${EXPECTED} lists:\n${installed}")
endif()

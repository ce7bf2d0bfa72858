# Install rules. Locations come from GNUInstallDirs, so any prefix works (/usr for the .deb,
# ~/.local or a temporary folder for a user); nothing installed names the source or build tree.
#
#   pluvo_install_program(TARGET "one-line summary")
#
# installs a program and builds, from the program's own --help and --version, its man page
# (help2man) and its bash completion, so neither drifts from the program. A target that does not
# exist (yet) is skipped.

find_program(PLUVO_HELP2MAN help2man)
find_program(PLUVO_GZIP gzip REQUIRED)
find_package(Python3 REQUIRED COMPONENTS Interpreter)
if(NOT PLUVO_HELP2MAN)
  message(WARNING "help2man not found (scripts/setup installs it): no man pages are built")
endif()

# systemd finds user units in <prefix>/lib/systemd/user for /usr and /usr/local; for a prefix of
# ~/.local set this to share/systemd/user ($XDG_DATA_HOME/systemd/user).
set(PLUVO_USER_UNIT_DIR lib/systemd/user CACHE PATH "Where the systemd user units go")
set(PLUVO_BASH_COMPLETION_DIR ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
    CACHE PATH "Where bash completion scripts go")
# The installed Info.plist sends the extension to the local forecast service at its default port.
set(PLUVO_INSTALLED_SERVICE_URL http://127.0.0.1:8470 CACHE STRING
    "The forecast service the installed Info.plist names")

function(pluvo_install_program target summary)
  if(NOT TARGET ${target})
    return()
  endif()
  install(TARGETS ${target} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  set(docs ${CMAKE_BINARY_DIR}/docs/${target})
  set(outputs ${docs}.bash)
  set(commands COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/cmake/cli_docs.py
               $<TARGET_FILE:${target}> --bash-completion ${docs}.bash --man-include ${docs}.h2m)
  if(PLUVO_HELP2MAN)
    # apps/<target>/<target>.h2m, when there is one, adds sections of its own (FILES, ...).
    set(extra ${PROJECT_SOURCE_DIR}/apps/${target}/${target}.h2m)
    set(extra_include)
    if(EXISTS ${extra})
      set(extra_include --include ${extra})
    else()
      set(extra)
    endif()
    list(APPEND outputs ${docs}.1.gz)
    list(APPEND commands
         COMMAND ${PLUVO_HELP2MAN} --no-info --no-discard-stderr --section 1
                 "--name=${summary}" --include ${docs}.h2m ${extra_include} --output ${docs}.1
                 $<TARGET_FILE:${target}>
         COMMAND ${PLUVO_GZIP} -9nf ${docs}.1)
    install(FILES ${docs}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME ${target}.1.gz)
  endif()
  add_custom_command(OUTPUT ${outputs} ${commands}
    DEPENDS ${target} ${PROJECT_SOURCE_DIR}/cmake/cli_docs.py ${extra}
    COMMENT "Man page and bash completion of ${target} from its --help")
  add_custom_target(${target}-docs ALL DEPENDS ${outputs})
  install(FILES ${docs}.bash DESTINATION ${PLUVO_BASH_COMPLETION_DIR} RENAME ${target})
endfunction()

# The extension's information dictionary, as the build's bundle has it but naming the local
# forecast service; a user's ~/.config/pluvo/Info.plist overrides it.
file(READ ${PROJECT_SOURCE_DIR}/apps/pluvo-widget/Info.plist pluvo_info)
string(REPLACE "@PROJECT_VERSION@" "${PROJECT_VERSION}" pluvo_info "${pluvo_info}")
string(REPLACE "$(PLUVO_API_BASE_URL)" "${PLUVO_INSTALLED_SERVICE_URL}" pluvo_info "${pluvo_info}")
file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/installed/Info.plist CONTENT "${pluvo_info}" @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/installed/Info.plist DESTINATION ${CMAKE_INSTALL_DATADIR}/pluvo)

# The systemd user units: each ExecStart names the program in the bin folder of the prefix
# installed to (cpack installs to /usr, `cmake --install --prefix T` to T), so it is written
# at install time.
file(GLOB pluvo_units CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/contrib/*.service)
foreach(unit ${pluvo_units})
  get_filename_component(name ${unit} NAME)
  install(CODE "
    set(bindir \"${CMAKE_INSTALL_BINDIR}\")
    if(NOT IS_ABSOLUTE \"\${bindir}\")
      set(bindir \"\${CMAKE_INSTALL_PREFIX}/\${bindir}\")
    endif()
    file(READ \"${unit}\" text)
    string(REGEX REPLACE \"(\\nExec[A-Za-z]*=[-@!+:]*)[^ \\n]*/(pluvo-[A-Za-z0-9-]+)\"
           \"\\\\1\${bindir}/\\\\2\" text \"\${text}\")
    file(WRITE \"${CMAKE_BINARY_DIR}/installed/${name}\" \"\${text}\")")
  install(FILES ${CMAKE_BINARY_DIR}/installed/${name} DESTINATION ${PLUVO_USER_UNIT_DIR})
endforeach()

install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES ${PROJECT_SOURCE_DIR}/contrib/debian/copyright DESTINATION ${CMAKE_INSTALL_DOCDIR})

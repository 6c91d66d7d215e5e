# What `cmake --install` puts where. The places are the standard's; -DCMAKE_INSTALL_BINDIR=… and the
# like change them. The modes of files do not depend on the umask; those of new folders do.
include(GNUInstallDirs)

set(id io.github.quarrydex.Quarrydex)
set(folder ${PROJECT_SOURCE_DIR}/packaging)

install(TARGETS quarrydex RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
# Where metaHelperProgram() looks: beside the folder of the program, whichever that is.
cmake_path(GET CMAKE_INSTALL_BINDIR PARENT_PATH helpers)
cmake_path(APPEND helpers libexec quarrydex)
install(TARGETS quarrydex-metadata RUNTIME DESTINATION ${helpers})

# Both name things that are known late: the bus wants the program's full path, and the prefix may
# still be chosen when it is installed.
configure_file(${folder}/plasma-runner-quarrydex.desktop.in plasma-runner-quarrydex.desktop @ONLY)
install(CODE "
    set(QDX_PROGRAM \"${CMAKE_INSTALL_BINDIR}/quarrydex\")
    cmake_path(ABSOLUTE_PATH QDX_PROGRAM BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
    configure_file(\"${folder}/${id}.service.in\" \"${CMAKE_CURRENT_BINARY_DIR}/${id}.service\" @ONLY)")
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${id}.service
    DESTINATION ${CMAKE_INSTALL_DATADIR}/dbus-1/services)

install(FILES ${folder}/${id}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${folder}/${id}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${folder}/icons/${id}.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
install(FILES ${folder}/icons/${id}-symbolic.svg
    DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/symbolic/apps)
install(FILES ${folder}/${id}.search-provider.ini
    DESTINATION ${CMAKE_INSTALL_DATADIR}/gnome-shell/search-providers)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/plasma-runner-quarrydex.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/krunner/dbusplugins)

install(FILES ${folder}/quarrydex.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${folder}/completions/quarrydex.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME quarrydex)
install(FILES ${folder}/completions/quarrydex.zsh
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _quarrydex)
install(FILES ${folder}/completions/quarrydex.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/quarrydex)

include(package)

if(QDX_TESTS)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    add_test(NAME PackagingTest COMMAND Python3::Interpreter
        ${PROJECT_SOURCE_DIR}/tests/packaging/packaging_test.py $<TARGET_FILE:quarrydex>)
    set_tests_properties(PackagingTest PROPERTIES LABELS app TIMEOUT 600)
endif()

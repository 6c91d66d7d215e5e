# Run by cpack between installing and packing: turns what was installed into what Debian's rules ask
# for. CPACK_TEMPORARY_DIRECTORY is the root of the package, CPACK_QDX_SOURCE the project.
set(share ${CPACK_TEMPORARY_DIRECTORY}/usr/share)
set(doc ${share}/doc/quarrydex)

# command(out directory program argument…): what the command prints.
function(command out directory)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${directory} OUTPUT_VARIABLE text
        COMMAND_ERROR_IS_FATAL ANY)
    set(${out} ${text} PARENT_SCOPE)
endfunction()

# linked_packages(out): the packages of the libraries that the programs are linked with, and of
# those whose code is part of them.
function(linked_packages out)
    # The tool looks at a source package's control file; an empty one will do.
    set(scratch ${CPACK_TOPLEVEL_DIRECTORY}/shlibdeps)
    file(WRITE ${scratch}/debian/control "Source: quarrydex\n\nPackage: quarrydex\nArchitecture: any\n")
    file(GLOB programs ${CPACK_TEMPORARY_DIRECTORY}/usr/bin/*
        ${CPACK_TEMPORARY_DIRECTORY}/usr/libexec/quarrydex/*)
    command(depends ${scratch} dpkg-shlibdeps -O ${programs})
    string(REPLACE "shlibs:Depends=" "" depends "${depends}")
    string(REGEX REPLACE "\\([^)]*\\)|[ \n]" "" depends "${depends}")
    string(REGEX REPLACE "\\|[^,]*" "" depends "${depends}")
    string(REPLACE "," ";" packages "${depends}")
    set(parts nlohmann-json3-dev libhwy-dev)
    if(IS_DIRECTORY /usr/share/doc/libblake3-dev)
        list(APPEND parts libblake3-dev)
    else()
        list(APPEND parts librust-blake3-dev)
    endif()
    list(APPEND packages ${parts})
    list(SORT packages)
    set(${out} ${packages} PARENT_SCOPE)
endfunction()

# The licence of the program and, word for word, those of what it is linked with.
function(write_copyright)
    file(READ ${CPACK_QDX_SOURCE}/LICENSE text)
    string(APPEND text "\n\nThe libraries that the programs of this package are linked with, or "
        "have parts of in\nthem, are others' work. Their licences follow, as their own packages "
        "state them.\n")
    linked_packages(packages)
    foreach(package IN LISTS packages)
        string(APPEND text "\n\n==== ${package} ====\n\n")
        file(READ /usr/share/doc/${package}/copyright licence)
        string(APPEND text "${licence}")
    endforeach()
    file(WRITE ${doc}/copyright "${text}")
    file(REMOVE ${doc}/LICENSE)
endfunction()

function(write_changelog)
    set(changelog ${CPACK_QDX_SOURCE}/packaging/debian/changelog)
    set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
    file(STRINGS ${changelog} newest LIMIT_COUNT 1)
    if(NOT newest MATCHES "^quarrydex \\(${version}\\)")
        message(FATAL_ERROR "${changelog} begins with another version than ${version}")
    endif()
    configure_file(${changelog} ${doc}/changelog.Debian COPYONLY)
endfunction()

write_copyright()
write_changelog()
# Without the time of compression, so that the same sources make the same package.
file(GLOB texts ${doc}/changelog.Debian ${share}/man/man*/*.[1-9])
command(nothing ${doc} gzip --best --no-name --force ${texts})
# Debian's zsh leaves the usual place to the administrator.
file(RENAME ${share}/zsh/site-functions ${share}/zsh/vendor-completions)

# Whatever the umask was.
file(GLOB documents ${doc}/*)
file(CHMOD ${documents} PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(CHMOD_RECURSE ${CPACK_TEMPORARY_DIRECTORY}/usr DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

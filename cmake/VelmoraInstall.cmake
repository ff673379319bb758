# What `cmake --install` lays down: the library, its headers, the files by which CMake and pkg-config
# find it, the tool with its manual page, and the examples. The GStreamer plugin installs itself.
include(CMakePackageConfigHelpers)

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/velmora_sr)
set(generated_dir ${PROJECT_BINARY_DIR}/install)

install(TARGETS velmora_sr EXPORT velmora_srTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/velmora_sr DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

# What a program has to link beside the archive.
list(TRANSFORM velmora_cxx_runtime PREPEND "-l" OUTPUT_VARIABLE pc_private)
list(APPEND pc_private -pthread)
if(ANDROID)
  list(APPEND pc_private -llog)
endif()
list(JOIN pc_private " " pc_private)
get_target_property(velmora_sr_type velmora_sr TYPE)

# find_package(velmora_sr 1.2) gives the target velmora_sr::velmora_sr. Records and functions only
# change with the major version, like the soname.
install(EXPORT velmora_srTargets NAMESPACE velmora_sr:: DESTINATION ${config_dir})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/velmora_srConfig.cmake.in
  ${generated_dir}/velmora_srConfig.cmake INSTALL_DESTINATION ${config_dir})
write_basic_package_version_file(${generated_dir}/velmora_srConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${generated_dir}/velmora_srConfig.cmake ${generated_dir}/velmora_srConfigVersion.cmake
        DESTINATION ${config_dir})

# The .pc file finds its prefix from its own place, so that an installed tree can be moved.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(pc_prefix ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH up /prefix/${pc_dir} /prefix)
  string(REGEX REPLACE "/$" "" up ${up})
  set(pc_prefix "\${pcfiledir}/${up}")
endif()
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${kind}})
    set(pc_${kind} ${CMAKE_INSTALL_${kind}})
  else()
    set(pc_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
configure_file(${CMAKE_CURRENT_LIST_DIR}/velmora_sr.pc.in ${generated_dir}/velmora_sr.pc @ONLY)
install(FILES ${generated_dir}/velmora_sr.pc DESTINATION ${pc_dir})

install(FILES ${PROJECT_SOURCE_DIR}/examples/zelk.xml
              ${PROJECT_SOURCE_DIR}/examples/zelk-clean.xml
              ${PROJECT_SOURCE_DIR}/examples/zelk-normal.xml
              ${PROJECT_SOURCE_DIR}/examples/zelk-noisy.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/velmora_sr)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)

if(TARGET velmora-sr)
  # The installed tool finds the library of its own tree, wherever that stands.
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(velmora-sr PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  install(TARGETS velmora-sr RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  if(NOT CMAKE_CROSSCOMPILING)
    set(completions $<TARGET_FILE_DIR:velmora-sr>/completion)
    install(FILES ${completions}.bash RENAME velmora-sr
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    install(FILES ${completions}.zsh RENAME _velmora-sr
            DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    install(FILES ${completions}.fish RENAME velmora-sr.fish
            DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
  endif()
  # The page names the prefix, which is known for sure when it is installed.
  install(CODE "
    set(PROJECT_VERSION ${PROJECT_VERSION})
    set(data_dir \"${CMAKE_INSTALL_DATADIR}\")
    cmake_path(ABSOLUTE_PATH data_dir BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/docs/man/velmora-sr.1.in\" \"${generated_dir}/velmora-sr.1\" @ONLY)")
  install(FILES ${generated_dir}/velmora-sr.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()

# What an install lays down has to be built before.
add_custom_target(installed)
foreach(part velmora_sr velmora-sr gstvelmorasr)
  if(TARGET ${part})
    add_dependencies(installed ${part})
  endif()
endforeach()

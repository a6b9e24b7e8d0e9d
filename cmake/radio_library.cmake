# The radio library exists twice, for radios that a scene file describes (standin/radioctl) and for
# those of the kernel (linux/radioctl). RFCD_RADIO chooses what the programs are linked with:
# shared: libradioctl.so.0, which is built of both; the dynamic linker finds the scene's in the build
# tree and the kernel's in an installation, unless LD_LIBRARY_PATH names another folder.
# scene, nl80211: one of the two, static.
set(RFCD_RADIO shared CACHE STRING "The radio library: shared (both), scene or nl80211 (static)")
set_property(CACHE RFCD_RADIO PROPERTY STRINGS shared scene nl80211)
if(RFCD_RADIO STREQUAL "nl80211" AND NOT RFCD_LINUX)
  message(FATAL_ERROR "RFCD_RADIO=nl80211 needs RFCD_LINUX=ON")
endif()

# radio_library(KIND STATIC LINK library...) makes the shared library of that kind out of the static
# one, and platform::radioctl of the one that is chosen.
function(radio_library kind static)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  set_target_properties(${static} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  if(RFCD_RADIO STREQUAL kind)
    add_library(platform::radioctl ALIAS ${static})
  endif()
  if(NOT RFCD_RADIO STREQUAL "shared")
    return()
  endif()

  set(shared ${static}_shared)
  set(symbols ${CMAKE_SOURCE_DIR}/cmake/radioctl.map)
  add_library(${shared} SHARED $<TARGET_OBJECTS:${static}>)
  target_include_directories(${shared} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(${shared} PRIVATE ${arg_LINK})
  target_link_options(${shared} PRIVATE -Wl,--version-script=${symbols})
  set_target_properties(${shared} PROPERTIES
    OUTPUT_NAME radioctl SOVERSION 0 LINKER_LANGUAGE CXX LINK_DEPENDS ${symbols})
  if(kind STREQUAL "scene")
    add_library(platform::radioctl ALIAS ${shared})
  endif()

  # An installed daemon finds the kernel's; the scene's is beside it, for whoever tries the daemon.
  set(folder ${CMAKE_INSTALL_LIBDIR}/rfcd)
  if(RFCD_LINUX AND kind STREQUAL "scene")
    string(APPEND folder /scene)
  endif()
  add_dependencies(rfcd ${shared})
  install(TARGETS ${shared} LIBRARY DESTINATION ${folder} NAMELINK_SKIP)
endfunction()

# The libraries that are installed and called, and the closed ones by the side of the platform line.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
pkg_check_modules(json-c REQUIRED IMPORTED_TARGET json-c)
pkg_check_modules(libwebsockets REQUIRED IMPORTED_TARGET libwebsockets)
if(RFCD_LINUX AND RFCD_PLATFORM STREQUAL "standin")
  pkg_check_modules(libnl-genl REQUIRED IMPORTED_TARGET libnl-genl-3.0)

  # The client of hostapd's control sockets. Debian's package has no file for pkg-config.
  find_library(WPA_CLIENT_LIBRARY wpa_client REQUIRED)
  find_path(WPA_CLIENT_INCLUDE wpa_ctrl.h REQUIRED)
  add_library(wpa_client UNKNOWN IMPORTED)
  set_target_properties(wpa_client PROPERTIES
    IMPORTED_LOCATION ${WPA_CLIENT_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${WPA_CLIENT_INCLUDE})
endif()

# platform::NAME is the library behind src/platform/NAME.h.
if(RFCD_PLATFORM STREQUAL "device")
  # The device finds the libraries in its own folders; a RUNPATH would name the sysroot.
  set(CMAKE_SKIP_RPATH ON)
  function(rfcd_device_library name)
    add_library(platform_${name} INTERFACE)
    foreach(library ${ARGN})
      find_library(RFCD_${library} NAMES ${library} REQUIRED)
      target_link_libraries(platform_${name} INTERFACE ${RFCD_${library}})
    endforeach()
    add_library(platform::${name} ALIAS platform_${name})
  endfunction()
  rfcd_device_library(log vnordalog logcycle)
  rfcd_device_library(kvtree kvtree)
  rfcd_device_library(peermsg peermsg)
  rfcd_device_library(replywait replywait)
  rfcd_device_library(radioctl radioctl)
  rfcd_device_library(runproc runproc)
endif()

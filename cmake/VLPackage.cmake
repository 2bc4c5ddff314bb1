# The installable package. `cmake --install` puts in the prefix:
#   include/          the public include trees of the installed libraries (never an
#                     implementation header: only what vl_include_tree exports publicly)
#   lib/              the static libraries
#   bin/              vlvalidate and vlprovider-sim (installed by their own folders)
#   lib/cmake/VaultlineValidations/
#                     the package's config and version files, the exported targets
#                     (Vaultline::NAME) and vaultline_add_validations()
# Included once by the top-level CMakeLists.txt, after every library target exists.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VL_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VaultlineValidations)

# vl_install_public_tree(TARGET): installs what vl_include_tree exported publicly for TARGET,
# each entry copied from its source (the tree itself holds links into the source tree).
function(vl_install_public_tree target)
  get_property(entries TARGET ${target} PROPERTY VL_PUBLIC_TREE_ENTRIES)
  if(NOT entries)
    message(FATAL_ERROR "vl_install_public_tree(${target}): the target exports no include tree")
  endif()
  foreach(entry ${entries})
    string(FIND "${entry}" "=" equals)
    string(SUBSTRING "${entry}" 0 ${equals} link)
    math(EXPR after "${equals} + 1")
    string(SUBSTRING "${entry}" ${after} -1 source)
    if(IS_DIRECTORY ${source})
      install(DIRECTORY ${source}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${link} FILES_MATCHING PATTERN "*.h")
    else()
      get_filename_component(folder ${link} DIRECTORY)
      install(FILES ${source} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
    endif()
  endforeach()
endfunction()

# Every library an exported target links, as Vaultline::NAME, with its headers except for
# vlrunner: the runner is linked (by Vaultline::gtest) but offers no interface outside.
set(VL_PACKAGE_LIBRARIES vlplatform vlsimulated vlremote vlproviderkit vlchoice validations vlfaults)
foreach(library ${VL_PACKAGE_LIBRARIES})
  vl_install_public_tree(${library})
  add_library(Vaultline::${library} ALIAS ${library})
endforeach()
# The provider kit is what provider authors link: exported under the shorter name.
set_target_properties(vlproviderkit PROPERTIES EXPORT_NAME providerkit)
add_library(Vaultline::providerkit ALIAS vlproviderkit)
install(TARGETS ${VL_PACKAGE_LIBRARIES} EXPORT VaultlineValidationsTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS vlrunner EXPORT VaultlineValidationsTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
# The programs join the export set in their own folders; the aliases let
# vaultline_add_validations() name vlvalidate alike in the source tree and in the package.
add_executable(Vaultline::vlvalidate ALIAS vlvalidate)
add_executable(Vaultline::vlprovider-sim ALIAS vlprovider-sim)
install(EXPORT VaultlineValidationsTargets NAMESPACE Vaultline:: DESTINATION ${VL_PACKAGE_DIR})

# Vaultline::gtest is its own export set: the package still loads where GoogleTest is missing.
if(TARGET vlgtest)
  vl_install_public_tree(vlgtest)
  add_library(Vaultline::gtest ALIAS vlgtest)
  install(TARGETS vlgtest EXPORT VaultlineValidationsGoogleTestTargets
          ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  install(EXPORT VaultlineValidationsGoogleTestTargets NAMESPACE Vaultline:: DESTINATION ${VL_PACKAGE_DIR})
endif()

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VaultlineValidationsConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/VaultlineValidationsConfig.cmake
                              INSTALL_DESTINATION ${VL_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VaultlineValidationsConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/VaultlineValidationsConfig.cmake
              ${PROJECT_BINARY_DIR}/VaultlineValidationsConfigVersion.cmake
              ${PROJECT_SOURCE_DIR}/cmake/VaultlineValidationsTests.cmake
              ${PROJECT_SOURCE_DIR}/cmake/VaultlineValidationsDiscover.cmake
        DESTINATION ${VL_PACKAGE_DIR})

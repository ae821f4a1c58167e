include(CMakePackageConfigHelpers)

install(TARGETS tessel datamodel EXPORT DatamodelTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    INCLUDES DESTINATION ${DATAMODEL_INCLUDE_SUBDIR})

set(DATAMODEL_HEADER_DIRS platform attributes framework canvas media session index operators migrations client)
foreach(dir IN LISTS DATAMODEL_HEADER_DIRS)
    if(EXISTS ${PROJECT_SOURCE_DIR}/${dir})
        install(DIRECTORY ${dir}/ DESTINATION ${DATAMODEL_INCLUDE_SUBDIR}/${dir}
            FILES_MATCHING PATTERN "*.hpp" PATTERN "*.h")
    endif()
endforeach()
install(FILES Datamodel.hpp DESTINATION ${DATAMODEL_INCLUDE_SUBDIR})

set(DATAMODEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Datamodel)
install(EXPORT DatamodelTargets NAMESPACE Datamodel:: DESTINATION ${DATAMODEL_CMAKE_DIR})
configure_package_config_file(cmake/DatamodelConfig.cmake.in
    ${PROJECT_BINARY_DIR}/DatamodelConfig.cmake INSTALL_DESTINATION ${DATAMODEL_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/DatamodelConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/DatamodelConfig.cmake ${PROJECT_BINARY_DIR}/DatamodelConfigVersion.cmake
    DESTINATION ${DATAMODEL_CMAKE_DIR})

configure_file(cmake/datamodel.pc.in ${PROJECT_BINARY_DIR}/datamodel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/datamodel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

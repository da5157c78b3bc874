# Install rules: the shared and static libquillet, the public headers under include/quillet/, a
# CMake package (find_package(Quillet)) and a pkg-config file (quillet.pc).
#
# Quillet::quillet is the shared library. Its private dependencies (libdeflate, fontconfig, zlib,
# libpng, libjpeg, zxing-cpp, sqlite3) stay behind the SONAME, so a user needs only the headers
# of nlohmann-json, the one dependency the public headers include. Quillet::quillet_static is
# the same code as an archive; linking it needs those libraries' development files, and the
# package finds them only when it is asked for (find_package(Quillet COMPONENTS static)).

set(QUILLET_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Quillet)

install(TARGETS quillet_shared EXPORT QuilletTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS quillet_core EXPORT QuilletStaticTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The headers of every folder that goes into the core library, in their folders. The command line
# program's headers are not part of the library.
foreach(folder base reportdef expr data engine canvas symbols registration)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/${folder}/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quillet/${folder}
    FILES_MATCHING PATTERN "*.h"
    # Qt-only folders belong to the Qt module's install.
    PATTERN "screen" EXCLUDE PATTERN "ui" EXCLUDE PATTERN "qt" EXCLUDE)
endforeach()

install(EXPORT QuilletTargets NAMESPACE Quillet:: DESTINATION ${QUILLET_CMAKE_DIR})
install(EXPORT QuilletStaticTargets NAMESPACE Quillet:: DESTINATION ${QUILLET_CMAKE_DIR})

# The Qt module, Quillet::qt (libquillet-qt on libquillet and Qt 6), as its own export set, so a
# server that makes PDFs only never needs Qt to find the package.
if(QUILLET_WITH_QT)
  install(TARGETS quillet_qt EXPORT QuilletQtTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
  foreach(folder screen ui registration/qt)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/src/${folder}/
      DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/quillet/${folder} FILES_MATCHING PATTERN "*.h")
  endforeach()
  install(EXPORT QuilletQtTargets NAMESPACE Quillet:: DESTINATION ${QUILLET_CMAKE_DIR})
endif()

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/QuilletConfig.cmake.in
  ${PROJECT_BINARY_DIR}/QuilletConfig.cmake
  INSTALL_DESTINATION ${QUILLET_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QuilletConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QuilletConfig.cmake ${PROJECT_BINARY_DIR}/QuilletConfigVersion.cmake
  DESTINATION ${QUILLET_CMAKE_DIR})

# pkg-config: "pkg-config --libs quillet" links the shared library; "--static" adds what the
# archive needs. The prefix is found from the .pc file's own folder, so a tree installed with
# "cmake --install --prefix P" works wherever P is, like the CMake package does.
file(RELATIVE_PATH QUILLET_PC_TO_PREFIX "/p/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/p")
string(REGEX REPLACE "/$" "" QUILLET_PC_TO_PREFIX "${QUILLET_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/quillet.pc.in ${PROJECT_BINARY_DIR}/quillet.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quillet.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(QUILLET_WITH_QT)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/quillet-qt.pc.in ${PROJECT_BINARY_DIR}/quillet-qt.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/quillet-qt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()

# The programs: quillet, and beside it the report designer, formwright.
install(TARGETS quillet_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
if(TARGET formwright)
  install(TARGETS formwright RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

# The designer on the desktop: its menu entry, and the file type of reports (*.qdr) that it opens.
# Component "desktop", so that these files alone can be installed (cmake --install --component).
if(TARGET formwright)
  install(FILES ${PROJECT_SOURCE_DIR}/src/designer/desktop/formwright.desktop
    DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT desktop)
  install(FILES ${PROJECT_SOURCE_DIR}/src/designer/desktop/quillet-report.xml
    DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages COMPONENT desktop)
endif()

# Makes "Harrowmint Printer.app" of the target harrowmint-printer, and installs it with everything of Qt that it needs:
#   cmake --install BUILD --prefix FOLDER
configure_file(${CMAKE_CURRENT_LIST_DIR}/Info.plist.in ${CMAKE_BINARY_DIR}/Info.plist @ONLY)

# The icon is drawn by the very code that draws the agent's own icon.
add_executable(harrowmint-iconset ${CMAKE_CURRENT_LIST_DIR}/IconsetMain.cpp)
target_link_libraries(harrowmint-iconset PRIVATE harrowmint_desktop)
set(iconset ${CMAKE_CURRENT_BINARY_DIR}/HarrowmintPrinter.iconset)
set(icon ${CMAKE_CURRENT_BINARY_DIR}/HarrowmintPrinter.icns)
add_custom_command(OUTPUT ${icon}
    COMMAND ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen $<TARGET_FILE:harrowmint-iconset> ${iconset}
    COMMAND iconutil --convert icns --output ${icon} ${iconset}
    DEPENDS harrowmint-iconset VERBATIM)
set_source_files_properties(${icon} PROPERTIES MACOSX_PACKAGE_LOCATION Resources)
target_sources(harrowmint-printer PRIVATE ${icon})

set_target_properties(harrowmint-printer PROPERTIES
    MACOSX_BUNDLE ON
    OUTPUT_NAME "Harrowmint Printer"
    MACOSX_BUNDLE_INFO_PLIST ${CMAKE_BINARY_DIR}/Info.plist)
install(TARGETS harrowmint-printer BUNDLE DESTINATION .)

# Qt's ready-made script (qt_generate_deploy_app_script) does not quote the bundle's name, which has a blank.
set(deploy_script ${CMAKE_CURRENT_BINARY_DIR}/deploy.cmake)
file(GENERATE OUTPUT ${deploy_script} CONTENT
    "include(\"${QT_DEPLOY_SUPPORT}\")\nqt_deploy_runtime_dependencies(EXECUTABLE \"Harrowmint Printer.app\")\n")
install(SCRIPT ${deploy_script})

# Makes the AppStream metainfo. Software centres load screenshots from the web, so they are named only to a build that
# says where the pictures of docs/images are published.
set(LUMATO_SCREENSHOTS_URL "" CACHE STRING "Where docs/images is published, for the screenshots of software centres")

file(READ ${ID}.metainfo.xml.in METAINFO)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ID}.metainfo.xml.in)
if(NOT METAINFO MATCHES "<release version=\"${PROJECT_VERSION}\"")
    message(FATAL_ERROR "${ID}.metainfo.xml.in says nothing of version ${PROJECT_VERSION}")
endif()
if(NOT LUMATO_SCREENSHOTS_URL)
    string(REGEX REPLACE " *<screenshots>.*</screenshots>\n" "" METAINFO "${METAINFO}")
endif()
string(CONFIGURE "${METAINFO}" METAINFO @ONLY)
file(CONFIGURE OUTPUT ${ID}.metainfo.xml CONTENT "${METAINFO}" @ONLY)

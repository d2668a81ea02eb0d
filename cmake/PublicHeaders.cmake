# Which headers a host sees.
#
# A host starts from the headers below; what those include comes with them. The result is staged
# under include/qel in the build folder just as `cmake --install` lays it out, and the agent and the
# host tests are compiled against that stage only: a private header cannot slip into them.
#
#   QEL_PUBLIC_HEADERS   paths relative to the repository root, sorted
#   QEL_PUBLIC_INCLUDE   the folder to put on an include path

file(GLOB QEL_PUBLIC_ENTRIES CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}"
     "${PROJECT_SOURCE_DIR}/monitor/*RaidMonitor.h"
     "${PROJECT_SOURCE_DIR}/monitor/EventRows.h"
     "${PROJECT_SOURCE_DIR}/events/*.h"
     "${PROJECT_SOURCE_DIR}/util/Clock.h" "${PROJECT_SOURCE_DIR}/util/DebugFlag.h"
     "${PROJECT_SOURCE_DIR}/util/DynamicBufferException.h"
     "${PROJECT_SOURCE_DIR}/xml/SimpleXmlException.h"
     "${PROJECT_SOURCE_DIR}/storlib/*.h"
     "${PROJECT_SOURCE_DIR}/storlib/sources/*Source.h"
     "${PROJECT_SOURCE_DIR}/storlib/sources/RecordingWriter.h"
     "${PROJECT_SOURCE_DIR}/storlib/sources/Scenario.h"
     "${PROJECT_SOURCE_DIR}/storlib/sources/SourceRegistry.h"
     "${PROJECT_SOURCE_DIR}/storlib/sources/CleanText.h")

set(QEL_PUBLIC_HEADERS "")
set(queue ${QEL_PUBLIC_ENTRIES})
while(queue)
    list(POP_FRONT queue header)
    if(header IN_LIST QEL_PUBLIC_HEADERS OR NOT EXISTS "${PROJECT_SOURCE_DIR}/${header}")
        continue()
    endif()
    list(APPEND QEL_PUBLIC_HEADERS "${header}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
                 "${PROJECT_SOURCE_DIR}/${header}")
    file(STRINGS "${PROJECT_SOURCE_DIR}/${header}" lines REGEX "^#include \"[^\"]+\"")
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "^#include \"([^\"]+)\".*" "\\1" included "${line}")
        list(APPEND queue "${included}")
    endforeach()
endwhile()
list(SORT QEL_PUBLIC_HEADERS)

set(QEL_PUBLIC_INCLUDE "${PROJECT_BINARY_DIR}/include/qel")
file(GLOB_RECURSE staged RELATIVE "${QEL_PUBLIC_INCLUDE}" "${QEL_PUBLIC_INCLUDE}/*.h")
foreach(header IN LISTS staged)
    if(NOT header IN_LIST QEL_PUBLIC_HEADERS)
        file(REMOVE "${QEL_PUBLIC_INCLUDE}/${header}")
    endif()
endforeach()
foreach(header IN LISTS QEL_PUBLIC_HEADERS)
    get_filename_component(folder "${header}" DIRECTORY)
    file(MAKE_DIRECTORY "${QEL_PUBLIC_INCLUDE}/${folder}")
    file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${header}" "${QEL_PUBLIC_INCLUDE}/${header}" SYMBOLIC)
endforeach()

# Own sources of the agent and of the tests are reached as "agent/..." and "tests/...", without
# opening the rest of the repository to them.
set(QEL_OWN_INCLUDE "${PROJECT_BINARY_DIR}/include/own")
file(MAKE_DIRECTORY "${QEL_OWN_INCLUDE}")
foreach(folder agent tests)
    file(CREATE_LINK "${PROJECT_SOURCE_DIR}/${folder}" "${QEL_OWN_INCLUDE}/${folder}" SYMBOLIC)
endforeach()

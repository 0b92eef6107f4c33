# Each shared library costs a command about a tenth of a millisecond at start-up. Debian ships archives of
# expat, SQLite, libpng and zlib, so a target with the ORVANTA_ARCHIVES property (the command-line program)
# links those into itself; every other target links the shared libraries: the panel because Qt loads libpng
# and zlib anyway (two copies in one process would be asking for trouble), the tests because it does not
# matter there. The library's own sources compile against the same headers either way.
#
# Sets ORVANTA_C_LIBRARIES, to be linked PRIVATE by orvanta_core: the choice is made per executable, as a
# static library's private dependencies are resolved in the context of the target that links it.
set(orvanta_shared_c_libraries EXPAT::EXPAT SQLite::SQLite3 PNG::PNG)
set(ORVANTA_C_LIBRARIES ${orvanta_shared_c_libraries})
if(ORVANTA_ARCHIVES AND NOT APPLE)
  find_library(ORVANTA_EXPAT_ARCHIVE NAMES libexpat.a)
  find_library(ORVANTA_SQLITE_ARCHIVE NAMES libsqlite3.a)
  find_library(ORVANTA_PNG_ARCHIVE NAMES libpng16.a)
  find_library(ORVANTA_ZLIB_ARCHIVE NAMES libz.a)
  if(ORVANTA_EXPAT_ARCHIVE AND ORVANTA_SQLITE_ARCHIVE AND ORVANTA_PNG_ARCHIVE AND ORVANTA_ZLIB_ARCHIVE)
    add_library(orvanta_c_archives INTERFACE)
    # libpng needs zlib after it; SQLite needs the maths library and, on older C libraries, dl and pthread.
    target_link_libraries(orvanta_c_archives INTERFACE "${ORVANTA_EXPAT_ARCHIVE}" "${ORVANTA_SQLITE_ARCHIVE}"
                          "${ORVANTA_PNG_ARCHIVE}" "${ORVANTA_ZLIB_ARCHIVE}" m ${CMAKE_DL_LIBS} Threads::Threads)
    set(wants_archives "$<BOOL:$<TARGET_PROPERTY:ORVANTA_ARCHIVES>>")
    set(ORVANTA_C_LIBRARIES "$<${wants_archives}:orvanta_c_archives>")
    foreach(library IN LISTS orvanta_shared_c_libraries)
      list(APPEND ORVANTA_C_LIBRARIES "$<$<NOT:${wants_archives}>:${library}>")
    endforeach()
  else()
    message(STATUS "orvanta links expat, SQLite, libpng and zlib as shared libraries (no archives found)")
  endif()
endif()

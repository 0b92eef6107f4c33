# ccache, when installed, keeps compiled objects in the user's cache folder (outside the source tree),
# so a second build of the same sources, in this checkout or in another one, compiles only what changed.
# base_dir makes the paths it hashes relative to the source tree, which is what lets two checkouts share
# their objects.
option(ORVANTA_CCACHE "Compile through ccache when it is installed" ON)
if(ORVANTA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(ORVANTA_CCACHE_PROGRAM ccache)
  if(ORVANTA_CCACHE_PROGRAM)
    set(launcher env "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" "CCACHE_SLOPPINESS=include_file_mtime,include_file_ctime,pch_defines,time_macros"
        "${ORVANTA_CCACHE_PROGRAM}")
    set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
    set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
    # GCC's precompiled headers can be cached only when the preprocessed text names them.
    # Clang's, only when they carry no timestamp.
    if(ORVANTA_PCH AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      add_compile_options(-fpch-preprocess)
    elseif(ORVANTA_PCH AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
    endif()
  endif()
endif()

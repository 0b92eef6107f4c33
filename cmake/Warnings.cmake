function(orvanta_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
    -Wold-style-cast -Woverloaded-virtual -Wimplicit-fallthrough)
  if(ORVANTA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
    # GCC 12's flow-based bounds warnings misfire inside libstdc++'s own string copies once the
    # sanitizers change what the optimiser sees (GCC bug 105329 and its relatives); they stay warnings.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
      target_compile_options(${target} PRIVATE -Wno-error=array-bounds -Wno-error=stringop-overflow
                             -Wno-error=restrict)
    endif()
  endif()
endfunction()

# Warning flags shared by the library, its tests, tools and examples.
function(orvel_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(ORVEL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Warnings for the project's own targets; third-party headers come in as system includes.
function(qb_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic
                                           $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>
                                           -Wno-missing-field-initializers)
  if(QB_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

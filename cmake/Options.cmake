# How everything of ours is compiled: routepolicy_options(TARGET). What only has to be accepted by
# the compiler needs no more than routepolicy_language(TARGET).

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

if(ROUTEPOLICY_LTO)
  include(CheckIPOSupported)
  check_ipo_supported()
endif()

function(routepolicy_language target)
  set_target_properties(${target} PROPERTIES
    CXX_STANDARD 20
    CXX_STANDARD_REQUIRED ON
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${ROUTEPOLICY_WERROR}>:-Werror>)
endfunction()

function(routepolicy_options target)
  routepolicy_language(${target})
  set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION ${ROUTEPOLICY_LTO})
  target_compile_options(${target} PRIVATE
    # Assertions print __FILE__: "platform/orb/base/Ptr.h", on whatever machine it was built.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
    # Nobody replaces our functions at load time, so calls inside the library may be inlined.
    -fno-semantic-interposition)
  if(ROUTEPOLICY_SANITIZE)
    set(flags -fsanitize=${ROUTEPOLICY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_compile_options(${target} PRIVATE ${flags})
    target_link_options(${target} PRIVATE ${flags})
  else()
    target_link_options(${target} PRIVATE
      LINKER:--no-undefined           # sanitizers leave some open
      LINKER:-Bsymbolic-functions)    # for the same reason as -fno-semantic-interposition
  endif()
endfunction()

# How a library of this project is built.

# Arithmetic is exactly as written: no contraction of products and sums; a fused step is written as
# one. The two flags behind it drop the error flags of the floating-point environment, which nothing
# reads, and change no result. A caller's pointer needs no alignment, so no loop may be peeled until
# it is aligned.
set(nuvcv_arithmetic_flags -ffp-contract=off -fno-math-errno -fno-trapping-math)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  list(APPEND nuvcv_arithmetic_flags --param=vect-max-peeling-for-alignment=0)
endif()

# Vectors wider than the target has change no interface here: they never cross one.
set(nuvcv_warnings -Wall -Wextra -Wconversion -Wno-psabi)
if(NUVCV_WERROR)
  list(APPEND nuvcv_warnings -Werror)
endif()

# A shared library that is plain C to its users: nothing but the documented names is visible, no
# exception or type information exists, and the C++ runtime is not needed.
function(nuvcv_add_library name)
  add_library(${name} SHARED ${ARGN})
  add_library(NuvCV::${name} ALIAS ${name})
  target_compile_features(${name} PRIVATE cxx_std_17)
  target_compile_options(${name} PRIVATE ${nuvcv_warnings} ${nuvcv_arithmetic_flags}
                         -fno-exceptions -fno-rtti -fno-threadsafe-statics)
  if(NUVCV_ARCH)
    target_compile_options(${name} PRIVATE -march=${NUVCV_ARCH})
  endif()
  target_include_directories(${name}
    PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:OpenMP::OpenMP_CXX> m)
  set_target_properties(${name} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH $ORIGIN)
  if(NOT NUVCV_SANITIZE)
    set_target_properties(${name} PROPERTIES LINKER_LANGUAGE C)
    target_link_options(${name} PRIVATE -Wl,--no-undefined -Wl,--as-needed)
  endif()
endfunction()

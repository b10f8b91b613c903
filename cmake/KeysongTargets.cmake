# What every target of the project shares: warnings, sanitizers, and the shape of a folder's library.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

add_library(keysong_options INTERFACE)
target_compile_options(keysong_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wno-psabi
  # PipeWire's macros are made of statement expressions.
  $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety;-Wno-gnu-statement-expression>
  # GCC 12 sees overlapping copies in the strings of its own library, at -O3 only; later ones do not.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>,$<CONFIG:Release>>:-Wno-restrict>)
target_link_libraries(keysong_options INTERFACE Threads::Threads)
# lld links each of the many test programs in a fraction of the time. What is installed is linked with the
# compiler's own: link-time optimisation, build identifiers and cross compilers count on it.
if(KEYSONG_USE_LLD)
  find_program(KEYSONG_LLD ld.lld)
  if(KEYSONG_LLD)
    target_link_options(keysong_options INTERFACE -fuse-ld=lld)
  endif()
endif()
# What is installed checks itself and leaves an intruder little to work with; script/check looks at the result.
option(KEYSONG_HARDEN "Build releases with the checks of compiler, linker and library" ON)
if(KEYSONG_HARDEN AND NOT KEYSONG_SANITIZE)
  include(CheckCXXCompilerFlag)
  # Jumps land only where the processor's own marks allow it.
  set(KEYSONG_BRANCH_FLAG "")
  foreach(flag IN ITEMS -fcf-protection=full -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "KEYSONG_HAS${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(${has})
      set(KEYSONG_BRANCH_FLAG ${flag})
    endif()
  endforeach()
  target_compile_options(keysong_options INTERFACE $<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2
    -D_GLIBCXX_ASSERTIONS;-fstack-protector-strong;-fstack-clash-protection;-fPIE;${KEYSONG_BRANCH_FLAG}>)
  target_link_options(keysong_options INTERFACE "$<$<CONFIG:Release>:-pie;LINKER:-z,relro,-z,now>")
endif()
if(KEYSONG_SANITIZE)
  target_compile_options(keysong_options INTERFACE -fsanitize=${KEYSONG_SANITIZE} -fno-omit-frame-pointer
    $<$<CXX_COMPILER_ID:GNU>:-Wno-tsan -Wno-maybe-uninitialized>)
  target_link_options(keysong_options INTERFACE -fsanitize=${KEYSONG_SANITIZE})
endif()

# keysong_library(NAME HEADERS ... SOURCES ... [DEPENDS ...] [PRIVATE_DEPENDS ...])
#
# One library for one folder of src/. Headers are a file set, so that each is checked to compile alone
# (target all_verify_interface_header_sets); they are included as "Folder/Name.h".
function(keysong_library name)
  cmake_parse_arguments(arg "" "" "HEADERS;SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  if(arg_SOURCES)
    add_library(${name} STATIC ${arg_SOURCES})
    target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/src FILES ${arg_HEADERS})
    target_link_libraries(${name} PUBLIC ${arg_DEPENDS} PRIVATE ${arg_PRIVATE_DEPENDS} keysong_options)
  else()
    add_library(${name} INTERFACE)
    target_sources(${name} INTERFACE FILE_SET HEADERS BASE_DIRS ${PROJECT_SOURCE_DIR}/src FILES ${arg_HEADERS})
    target_link_libraries(${name} INTERFACE ${arg_DEPENDS})
  endif()
  set_target_properties(${name} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
endfunction()

# keysong_generator(OUTPUT_VARIABLE TARGET OPTION)
#
# The program that makes a part of the project while it is built: the target, or in a cross build, where that cannot
# run, what the option names.
function(keysong_generator output target option)
  set(${option} "" CACHE FILEPATH "A cross build's ${target}, built for this machine")
  set(generator ${${option}})
  if(NOT generator)
    set(generator ${target})
    if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
      message(FATAL_ERROR "A cross build needs ${option}, the path of a ${target} that was built for this machine "
        "(cmake --build --target ${target})")
    endif()
  endif()
  set(${output} ${generator} PARENT_SCOPE)
endfunction()

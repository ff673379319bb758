# One interface target carries the flags of everything built here.
find_program(VELMORA_CCACHE ccache)
if(VELMORA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${VELMORA_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${VELMORA_CCACHE})
endif()

add_library(velmora_flags INTERFACE)
# No contraction: the same input gives the same bits on every machine, so a product and a sum are
# fused only where the code says std::fma.
target_compile_options(velmora_flags INTERFACE -ffp-contract=off)
target_compile_options(velmora_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual -Wcast-align>)
# The same sources give the same bytes in every folder.
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-ffile-prefix-map=/a=b VELMORA_CXX_PREFIX_MAP)
if(VELMORA_CXX_PREFIX_MAP)
  target_compile_options(velmora_flags INTERFACE
    $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
endif()
if(VELMORA_WERROR)
  target_compile_options(velmora_flags INTERFACE -Werror)
endif()
if(VELMORA_SANITIZE)
  target_compile_options(velmora_flags INTERFACE -fsanitize=${VELMORA_SANITIZE}
    -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(velmora_flags INTERFACE -fsanitize=${VELMORA_SANITIZE})
endif()
if(VELMORA_BUILD_FUZZERS)
  # The counters by which a fuzzing engine sees what an input has reached.
  target_compile_options(velmora_flags INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(velmora_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VELMORA_COVERAGE)
  # Atomic counters: the worker threads would lose counts.
  target_compile_options(velmora_flags INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(velmora_flags INTERFACE --coverage)
endif()

# The libraries that the C++ compiler links by itself and the C compiler does not.
set(velmora_cxx_runtime ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(REMOVE_ITEM velmora_cxx_runtime ${CMAKE_C_IMPLICIT_LINK_LIBRARIES})
list(REMOVE_DUPLICATES velmora_cxx_runtime)

# Instruction sets: which of them this target can have functions for, and how their files are compiled.
#
# A set's flags sit on its own files only, and the set is chosen at run time, so the library also runs
# on a CPU without it. Such a file holds intrinsics and static functions, nothing else: an inline
# function of a header compiled with a set's flags could be the copy that the linker keeps for all.
set(VELMORA_CPU_SETS "")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  if(VELMORA_NEON)
    list(APPEND VELMORA_CPU_SETS neon)
    set(VELMORA_FLAGS_neon "")
  endif()
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  if(VELMORA_NEON)
    list(APPEND VELMORA_CPU_SETS neon)
    set(VELMORA_FLAGS_neon -mfpu=neon)
  endif()
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64)$" AND CMAKE_SIZEOF_VOID_P EQUAL 8)
  if(VELMORA_X86_SIMD)
    list(APPEND VELMORA_CPU_SETS avx2 avx512 avx512vbmi)
    set(VELMORA_FLAGS_avx2 -mavx2 -mfma)
    set(VELMORA_FLAGS_avx512 -mavx512f -mavx512bw -mavx512vl -mavx512dq -mfma)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # GCC 12 takes the undefined operands inside its own intrinsics for uninitialised reads.
      list(APPEND VELMORA_FLAGS_avx512 -Wno-uninitialized -Wno-maybe-uninitialized)
    endif()
    set(VELMORA_FLAGS_avx512vbmi ${VELMORA_FLAGS_avx512} -mavx512vbmi -mavx512vnni)
  endif()
endif()
foreach(set IN LISTS VELMORA_CPU_SETS)
  string(TOUPPER ${set} upper)
  target_compile_definitions(velmora_flags INTERFACE VELMORA_HAVE_${upper}=1)
endforeach()

# velmora_cpu_sources(<set> <files>...): adds the files if the target can have the set.
function(velmora_cpu_sources set)
  if(set IN_LIST VELMORA_CPU_SETS)
    target_sources(velmora_objects PRIVATE ${ARGN})
    set_source_files_properties(${ARGN} TARGET_DIRECTORY velmora_objects
                                PROPERTIES COMPILE_OPTIONS "${VELMORA_FLAGS_${set}}")
  endif()
endfunction()

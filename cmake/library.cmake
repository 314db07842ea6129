# libzelcore, and libzelj once for each instruction-set level.

add_library(zelcore SHARED ${PROJECT_SOURCE_DIR}/core/zelcore.cpp)
add_library(zelj::zelcore ALIAS zelcore)
set_target_properties(zelcore PROPERTIES SOVERSION ${PROJECT_VERSION_MAJOR} LINKER_LANGUAGE C)
target_include_directories(zelcore PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/core> $<INSTALL_INTERFACE:include>)
target_compile_options(zelcore PRIVATE -fno-exceptions -fno-rtti)
target_link_libraries(zelcore PRIVATE OpenMP::OpenMP_CXX $<BUILD_INTERFACE:zelj_warnings>)

file(GLOB_RECURSE ZELJ_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.cpp ${PROJECT_SOURCE_DIR}/src/*.S)

# The one list of exports, as the linker wants it.
set(exports_def ${PROJECT_SOURCE_DIR}/src/frame/exports.def)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports_def})
file(STRINGS ${exports_def} ZELJ_EXPORTS REGEX "^ZELJ_EXPORT")
list(TRANSFORM ZELJ_EXPORTS REPLACE "^ZELJ_EXPORT\\((.*)\\)$" "zeli\\1")
list(JOIN ZELJ_EXPORTS ";\n    " export_lines)
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/zelj.map
     CONTENT "{\n  global:\n    zeljGetLibVersion;\n    zeljEntryTable;\n    ${export_lines};\n  local: *;\n};\n")

set(ZELJ_FLAGS_avx -mavx)
set(ZELJ_FLAGS_x86-64-v3 -march=x86-64-v3)
set(ZELJ_FLAGS_x86-64-v4 -march=x86-64-v4)

# A block transform is one chain of a hundred and more vector operations: a compiler that orders them before it knows the
# registers lets the processor start on the next block sooner.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  foreach(kernel IN ITEMS fdct idct idct_reduced idct_sparse)
    set_source_files_properties(${PROJECT_SOURCE_DIR}/src/jpeg/dct/${kernel}.cpp
                                PROPERTIES COMPILE_OPTIONS "-fschedule-insns;-fsched-pressure")
  endforeach()
  set_source_files_properties(${PROJECT_SOURCE_DIR}/src/texture/dxt_encoder.cpp
                              PROPERTIES COMPILE_OPTIONS -fschedule-insns)
  set_source_files_properties(${PROJECT_SOURCE_DIR}/src/jpegxr/pct.cpp
                              PROPERTIES COMPILE_OPTIONS "-fschedule-insns;-fsched-pressure")
  # Records of several 512-bit vectors stay in registers only up to this size in bytes.
  set_source_files_properties(${PROJECT_SOURCE_DIR}/src/jpeg/sampling/mcu_sampling.cpp
                              PROPERTIES COMPILE_OPTIONS "--param=sra-max-scalarization-size-Ospeed=2048")
endif()

# The entropy coders are serial: a call is a few hundred instructions. Branches of their own are the cheapest way to check
# nine arguments, and where AVX-512 has another way for their few vectors it is no faster, on some processors much slower:
# there they are compiled for the level below. Tuning for no processor in particular would clear a register in front of
# each count of zeros, which only processors from before 2015 need.
file(GLOB entropy_coders CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/jpeg/huffman/*.cpp
     ${PROJECT_SOURCE_DIR}/src/jpeg2k/tier1/*.cpp)
set(ZELJ_ENTROPY_OPTIONS $<$<STREQUAL:$<TARGET_PROPERTY:ZELJ_LEVEL>,x86-64-v4>:${ZELJ_FLAGS_x86-64-v3}>)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  list(APPEND ZELJ_ENTROPY_OPTIONS -mtune=znver3 --param=logical-op-non-short-circuit=0)
endif()
set_source_files_properties(${entropy_coders} PROPERTIES COMPILE_OPTIONS "${ZELJ_ENTROPY_OPTIONS}")
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  # One loop in all of a function's registers: these spare a tenth of its instructions, all of them copies.
  set_property(SOURCE ${PROJECT_SOURCE_DIR}/src/jpeg/huffman/block_encoder.cpp APPEND
               PROPERTY COMPILE_OPTIONS -fschedule-insns -fsched-pressure -fira-region=one
                        # "rep bsf", which newer processors take for a fast count, not "bsf"
                        $<$<STREQUAL:$<TARGET_PROPERTY:ZELJ_LEVEL>,avx>:-mtune=generic>)
  # Unrolled loops hand vectors on without copies.
  set_property(SOURCE ${PROJECT_SOURCE_DIR}/src/jpeg/huffman/predictors.cpp APPEND
               PROPERTY COMPILE_OPTIONS -frename-registers)
  # And here values that a loop could hold in registers are cheaper to make anew than to keep in memory, and what a branch
  # tests is not to be computed again behind it.
  set_property(SOURCE ${PROJECT_SOURCE_DIR}/src/jpeg/huffman/block_decoder.cpp
                      ${PROJECT_SOURCE_DIR}/src/jpeg/huffman/direct_decoder.cpp
               APPEND PROPERTY COMPILE_OPTIONS $<$<CONFIG:Release>:-O2> -fno-move-loop-invariants -fno-tree-sink)
endif()

# Where in a cache line the decoders of JPEG XR begin made a difference of a third.
file(GLOB jpegxr_coders CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/jpegxr/?lc*.cpp)
set_source_files_properties(${jpegxr_coders} PROPERTIES COMPILE_OPTIONS "${ZELJ_ENTROPY_OPTIONS};-falign-functions=64")

# Highway's vectors for one level; the levels promise no carry-less multiplication and no AES.
function(zelj_objects target level)
  add_library(${target} OBJECT ${ZELJ_SOURCES})
  set_target_properties(${target} PROPERTIES ZELJ_LEVEL ${level})
  set_source_files_properties(${PROJECT_SOURCE_DIR}/src/frame/trampolines.S PROPERTIES OBJECT_DEPENDS ${exports_def})
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/core
                                               ${PROJECT_SOURCE_DIR}/src)
  target_compile_definitions(${target} PRIVATE HWY_DISABLE_PCLMUL_AES HWY_COMPILE_ONLY_STATIC HWY_IS_DEBUG_BUILD=0)
  target_compile_options(
    ${target} PRIVATE ${ZELJ_FLAGS_${level}}
                      $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -ffp-contract=off
                      -fno-math-errno -fno-trapping-math $<$<CONFIG:Release>:-O3>>)
  target_link_libraries(${target} PRIVATE OpenMP::OpenMP_CXX zelj_warnings)
endfunction()

function(zelj_shared target level subdirectory)
  zelj_objects(${target}_objects ${level})
  add_library(${target} SHARED $<TARGET_OBJECTS:${target}_objects>)
  set_target_properties(
    ${target}
    PROPERTIES OUTPUT_NAME zelj
               SOVERSION ${PROJECT_VERSION_MAJOR}
               LINKER_LANGUAGE C # nothing of the C++ runtime
               LINK_DEPENDS ${PROJECT_BINARY_DIR}/zelj.map
               LIBRARY_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${subdirectory}
               BUILD_WITH_INSTALL_RPATH ON
               INSTALL_RPATH "$ORIGIN:$ORIGIN/../..")
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:include>)
  target_link_options(${target} PRIVATE -Wl,--version-script=${PROJECT_BINARY_DIR}/zelj.map -Wl,--as-needed
                      $<$<NOT:$<BOOL:${ZELJ_SANITIZED}>>:-Wl,-z,defs>)
  target_link_libraries(${target} PRIVATE zelcore OpenMP::OpenMP_CXX m)
endfunction()

zelj_shared(zelj avx .)
add_library(zelj::zelj ALIAS zelj)
set(ZELJ_LEVEL_TARGETS "")
foreach(level IN LISTS ZELJ_LEVELS)
  if(NOT level STREQUAL avx)
    zelj_shared(zelj_${level} ${level} glibc-hwcaps/${level})
    add_dependencies(zelj zelj_${level})
    list(APPEND ZELJ_LEVEL_TARGETS zelj_${level})
  endif()
endforeach()

add_library(zelj_static STATIC $<TARGET_OBJECTS:zelj_objects>)
add_library(zelj::zelj_static ALIAS zelj_static)
set_target_properties(zelj_static PROPERTIES OUTPUT_NAME zelj LINKER_LANGUAGE C)
target_include_directories(zelj_static PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:include>)
target_link_libraries(zelj_static PUBLIC zelcore m)
target_link_options(zelj_static INTERFACE ${OpenMP_CXX_FLAGS}) # a user's project need not look for OpenMP

# SPDX-License-Identifier: Apache-2.0
# Compiler flags of everything in the tree, as an interface library.
find_package(Threads REQUIRED)
add_library(vanto_flags INTERFACE)
target_compile_options(vanto_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  $<$<BOOL:${VANTO_WERROR}>:-Werror>
  # So that the linker can drop what nothing reaches.
  -ffunction-sections -fdata-sections
  # No path of the building machine in what is built.
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
target_link_libraries(vanto_flags INTERFACE Threads::Threads)
if(VANTO_COUNT_OBJECTS)
  target_compile_definitions(vanto_flags INTERFACE VANTO_COUNT_OBJECTS)
endif()
if(VANTO_SANITIZE)
  target_compile_options(vanto_flags INTERFACE -fsanitize=${VANTO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vanto_flags INTERFACE -fsanitize=${VANTO_SANITIZE})
endif()
if(VANTO_FUZZ)
  target_compile_options(vanto_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(VANTO_COVERAGE)
  # Counters live in the profile file itself, so that a process that aborts is counted too.
  target_compile_options(vanto_flags INTERFACE
    -fprofile-instr-generate -fcoverage-mapping "SHELL:-mllvm -runtime-counter-relocation")
  target_link_options(vanto_flags INTERFACE -fprofile-instr-generate -fcoverage-mapping)
endif()

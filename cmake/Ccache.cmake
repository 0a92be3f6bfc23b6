# SPDX-License-Identifier: Apache-2.0
# Compiles through ccache where that is installed and nothing else was asked for. Checkouts in different folders share
# what they compile, also against a header that was compiled before.
find_program(VANTO_CCACHE ccache)
if(VANTO_CCACHE)
  foreach(language C CXX)
    if(NOT CMAKE_${language}_COMPILER_LAUNCHER)
      set(CMAKE_${language}_COMPILER_LAUNCHER env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${VANTO_CCACHE})
    endif()
  endforeach()
endif()

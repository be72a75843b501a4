# What every source of this project is compiled with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Assertions are part of the library's contract and stay on in every build type.
foreach(type RELEASE RELWITHDEBINFO MINSIZEREL)
  string(REPLACE "-DNDEBUG" "" CMAKE_CXX_FLAGS_${type} "${CMAKE_CXX_FLAGS_${type}}")
endforeach()

# A fused multiply-add rounds once where the definition rounds twice, and which sums the compiler
# would fuse changes with the machine: never let it.
add_compile_options(-ffp-contract=off)

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # These two misfire at -O3 on std::string and fmt (GCC bugs 105651 and 105329). clang-tidy reads the flags too
  # and does not know them.
  add_compile_options(-Wno-unknown-warning-option -Wno-restrict -Wno-stringop-overflow)
endif()

if(VEXA_SANITIZE)
  add_compile_options(-fsanitize=${VEXA_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VEXA_SANITIZE})
  # For what is mostly templates of Eigen and CLI11: optimised under a sanitizer it takes more than twice as long to compile.
  set(VEXA_TEMPLATE_OPTIONS -O0 -g1)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)  # misfires between a sanitizer's checks (GCC bug 105562)
  endif()
  if(VEXA_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
endif()

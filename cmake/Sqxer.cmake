# Compile options of our own code, as one interface target that every target of ours links privately.
add_library(sqxer_options INTERFACE)
target_compile_options(sqxer_options INTERFACE -Wall -Wextra -Wpedantic
                                               $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
# What __FILE__ puts into a binary starts at the root of the sources, wherever they lie.
target_compile_options(sqxer_options INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(SQXER_WERROR)
  target_compile_options(sqxer_options INTERFACE -Werror)
endif()
if(SQXER_BASELINE AND CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  target_compile_options(sqxer_options INTERFACE -march=${SQXER_BASELINE})
endif()
# A fused multiply-add would round once where the operators promise to round twice.
target_compile_options(sqxer_options INTERFACE -ffp-contract=off)
# What makes a fault that is still there harder to use: checks of stacks and of lengths that the compiler
# knows, addresses that differ from run to run, and no table of functions that can be written. Lengths
# are checked where code is optimised; tests are not.
if(SQXER_HARDEN AND NOT SQXER_SANITIZE)
  include(CheckPIESupported)
  check_pie_supported()
  set(sqxer_optimised
      "$<AND:$<NOT:$<CONFIG:Debug>>,$<NOT:$<BOOL:$<TARGET_PROPERTY:SQXER_UNOPTIMISED>>>>")
  target_compile_options(sqxer_options INTERFACE
                         -fstack-protector-strong
                         "$<${sqxer_optimised}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
  if(NOT APPLE)
    target_link_options(sqxer_options INTERFACE LINKER:-z,relro,-z,now,-z,noexecstack)
  endif()
endif()
if(SQXER_SANITIZE)
  target_compile_options(sqxer_options INTERFACE -fsanitize=${SQXER_SANITIZE}
                                                 -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(sqxer_options INTERFACE -fsanitize=${SQXER_SANITIZE})
  # One runtime for programs and shared libraries: clang's static one stands in programs only.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND SQXER_SANITIZE MATCHES "^address")
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
                    OUTPUT_VARIABLE sqxer_runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    target_link_options(sqxer_options INTERFACE -shared-libasan -Wl,-rpath,${sqxer_runtime})
  endif()
endif()

# Headers of a third party, without our warnings.
function(sqxer_find_header variable header)
  find_path(${variable} ${header} REQUIRED)
endfunction()

# Compile options of every target of this project.
#
# Results are reproducible to the last bit: no contraction into fused multiply-add, no fast-math.
# -fno-math-errno changes no result; it lets a square root be one instruction.
add_library(zel_ftc_options INTERFACE)
target_compile_features(zel_ftc_options INTERFACE cxx_std_20)
target_compile_options(zel_ftc_options INTERFACE
  -Wall -Wextra -Wpedantic
  -ffp-contract=off -fno-math-errno
  $<$<BOOL:${ZEL_FTC_WERROR}>:-Werror>)
if(ZEL_FTC_SANITIZE)
  target_compile_options(zel_ftc_options INTERFACE
    -fsanitize=${ZEL_FTC_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zel_ftc_options INTERFACE -fsanitize=${ZEL_FTC_SANITIZE})
endif()

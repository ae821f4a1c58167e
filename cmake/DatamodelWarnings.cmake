# Warnings are errors in our own code; third-party headers come in as system includes.
function(datamodel_strict_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endfunction()

# Writes a Makefile that runs every library source of a build through clang's front end with the build's own
# flags, taken from its compile_commands.json. Each file that passes leaves a stamp and the list of headers
# it read, so that a later run checks only what changed.
#
#   cmake -DBUILD_DIR=<build> -DSOURCE_DIR=<sources> -DWORK_DIR=<dir> -DCLANGXX=<clang++> -P ClangSyntaxCheck.cmake
cmake_minimum_required(VERSION 3.25)

set(checked_folders platform attributes framework canvas media session index client)

# The arguments of a compile line without its compiler, its source, its output and its own dependency
# options (a syntax check writes no object; it writes the dependencies of its stamp instead), each quoted
# for the shell and escaped for make.
function(clang_check_flags result command)
    separate_arguments(arguments UNIX_COMMAND "${command}")
    list(POP_FRONT arguments)
    set(flags "")
    set(skip_next FALSE)
    foreach(argument IN LISTS arguments)
        if(skip_next)
            set(skip_next FALSE)
        elseif(argument MATCHES "^-(o|c|MT|MF|MQ)$")
            set(skip_next TRUE)
        elseif(NOT argument STREQUAL "-MD")
            string(REPLACE "'" "'\\''" argument "${argument}")
            string(REPLACE "$" "$$" argument "${argument}")
            string(APPEND flags " '${argument}'")
        endif()
    endforeach()
    set(${result} "${flags}" PARENT_SCOPE)
endfunction()

set(compile_commands "${BUILD_DIR}/compile_commands.json")
file(READ "${compile_commands}" commands)
string(JSON count LENGTH "${commands}")
math(EXPR last "${count} - 1")

set(stamps "")
set(rules "")
foreach(i RANGE ${last})
    string(JSON source GET "${commands}" ${i} file)
    file(RELATIVE_PATH relative "${SOURCE_DIR}" "${source}")
    string(REGEX MATCH "^[^/]+" folder "${relative}")
    if(NOT folder IN_LIST checked_folders)
        continue()
    endif()
    string(JSON directory GET "${commands}" ${i} directory)
    string(JSON command GET "${commands}" ${i} command)
    clang_check_flags(flags "${command}")
    string(REPLACE "/" "__" stamp "${relative}")
    set(stamp "${WORK_DIR}/${stamp}.ok")
    list(APPEND stamps "${stamp}")
    string(APPEND rules
        "${stamp}: ${source} ${compile_commands}\n"
        "\t@cd ${directory} && ${CLANGXX}${flags} -fsyntax-only -MD -MT $@ -MF $@.d ${source}\n"
        "\t@touch $@\n"
        "-include ${stamp}.d\n\n")
endforeach()

list(LENGTH stamps checked)
if(checked EQUAL 0)
    message(FATAL_ERROR "No library source found in ${compile_commands}")
endif()
list(JOIN stamps " " all)
file(WRITE "${WORK_DIR}/Makefile" ".PHONY: all\nall: ${all}\n\t@echo \"clang accepts all ${checked} library sources\"\n\n${rules}")

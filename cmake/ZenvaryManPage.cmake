# Makes the zenvary(1) man page from the tool's own help: help2man turns the
# top-level --help into the page, and each command's --help becomes a
# subsection of COMMANDS, so the page never drifts from the tool.
#
#   cmake -DCLI=path/to/zenvary -DHELP2MAN=path/to/help2man -DVERSION=x.y.z
#         -DOUT=zenvary.1 -P ZenvaryManPage.cmake

foreach(var CLI HELP2MAN VERSION OUT)
  if(NOT DEFINED ${var})
    message(FATAL_ERROR "ZenvaryManPage.cmake: ${var} is not set")
  endif()
endforeach()

execute_process(COMMAND ${CLI} --help OUTPUT_VARIABLE top RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${CLI} --help failed: ${rc}")
endif()

# Text as roff, shown as it stands: backslashes escaped, a leading dot or
# quote guarded, dashes made plain minus signs.
function(zv_roff_verbatim text out)
  string(REPLACE "\\" "\\e" text "${text}")
  string(REPLACE "-" "\\-" text "${text}")
  string(REGEX REPLACE "(^|\n)([.'])" "\\1\\\\&\\2" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# The command names: the first word of each line under "commands:".
string(REGEX MATCH "\ncommands:\n(.*)" listing "${top}")
string(FIND "${CMAKE_MATCH_1}" "\n\n" listing_end)
string(SUBSTRING "${CMAKE_MATCH_1}" 0 ${listing_end} listing)
string(REGEX MATCHALL "\n  [a-z][a-z0-9-]*  " rows "\n${listing}")
set(include_text "[COMMANDS]\n")
set(count 0)
foreach(row IN LISTS rows)
  string(STRIP "${row}" name)
  execute_process(COMMAND ${CLI} ${name} --help OUTPUT_VARIABLE help RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${CLI} ${name} --help failed: ${rc}")
  endif()
  zv_roff_verbatim("${help}" help)
  string(APPEND include_text ".SS ${name}\n.nf\n${help}.fi\n")
  math(EXPR count "${count} + 1")
endforeach()
if(count EQUAL 0)
  message(FATAL_ERROR "no commands found in the output of ${CLI} --help")
endif()
string(APPEND include_text "[SEE ALSO]\nThe C interface is described in zenvary.h; pkg-config name \\fBzenvary\\fR.\n")

get_filename_component(out_dir "${OUT}" DIRECTORY)
set(include_file "${out_dir}/zenvary.h2m")
file(WRITE "${include_file}" "${include_text}")

execute_process(
  COMMAND ${HELP2MAN} --no-info --section=1 --version-string=${VERSION}
          "--name=cryptography and text-encoding tool" "--include=${include_file}"
          --output=${OUT} ${CLI}
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "help2man failed: ${rc}")
endif()

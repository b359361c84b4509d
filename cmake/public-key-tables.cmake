# Writes the built-in public key (the MODULUS and EXPONENT tables) as C++
# source, from a PEM public key, with the openssl command.  Run at build time:
#   cmake -DOPENSSL=<openssl> -DPEM=<key.pem> -DTEMPLATE=<.cc.in> -DOUTPUT=<.cc>
#         -P public-key-tables.cmake
# The modulus must be 1024 bits long: the signatures are 128 bytes.
foreach(_var OPENSSL PEM TEMPLATE OUTPUT)
  if(NOT DEFINED ${_var})
    message(FATAL_ERROR "public-key-tables.cmake: ${_var} not given")
  endif()
endforeach()

execute_process(COMMAND ${OPENSSL} rsa -pubin -in ${PEM} -noout -modulus
  OUTPUT_VARIABLE _modulus ERROR_VARIABLE _err RESULT_VARIABLE _rc)
if(NOT _rc EQUAL 0 OR NOT _modulus MATCHES "Modulus=([0-9A-Fa-f]+)")
  message(FATAL_ERROR "${PEM}: not a PEM RSA public key (openssl: ${_err})")
endif()
string(TOLOWER "${CMAKE_MATCH_1}" _modulus)
string(LENGTH "${_modulus}" _len)
if(NOT _len EQUAL 256 OR NOT _modulus MATCHES "^[89a-f]")
  message(FATAL_ERROR "${PEM}: the modulus must be 1024 bits long")
endif()

# "Exponent: 3 (0x3)", or for a large exponent a hex dump on the next lines.
execute_process(COMMAND ${OPENSSL} rsa -pubin -in ${PEM} -noout -text
  OUTPUT_VARIABLE _text ERROR_VARIABLE _err RESULT_VARIABLE _rc)
if(NOT _rc EQUAL 0)
  message(FATAL_ERROR "${PEM}: openssl failed: ${_err}")
endif()
if(_text MATCHES "Exponent: [0-9]+ \\(0x([0-9A-Fa-f]+)\\)")
  set(_exponent "${CMAKE_MATCH_1}")
elseif(_text MATCHES "Exponent:[ \t]*\n(([ \t]+[0-9A-Fa-f:]+\n?)+)")
  string(REGEX REPLACE "[ \t\n:]" "" _exponent "${CMAKE_MATCH_1}")
  string(REGEX REPLACE "^(00)+" "" _exponent "${_exponent}")
else()
  message(FATAL_ERROR "${PEM}: public exponent not found")
endif()
string(TOLOWER "${_exponent}" _exponent)
string(LENGTH "${_exponent}" _len)
math(EXPR _odd "${_len} % 2")
if(_odd)
  set(_exponent "0${_exponent}")
  math(EXPR _len "${_len} + 1")
endif()
if(_len GREATER 256)
  message(FATAL_ERROR "${PEM}: public exponent longer than 128 bytes")
endif()
# Right-aligned in 128 bytes, as the key records hold numbers.
math(EXPR _zeros "256 - ${_len}")
string(REPEAT "0" ${_zeros} _pad)
set(_exponent "${_pad}${_exponent}")

# 128 entries, 8 to a line.
function(_mc_entries hex out)
  set(_text "")
  foreach(_i RANGE 0 127)
    math(EXPR _at "${_i} * 2")
    string(SUBSTRING "${hex}" ${_at} 2 _byte)
    math(EXPR _col "${_i} % 8")
    if(_col EQUAL 0)
      string(APPEND _text "\n   ")
    endif()
    string(APPEND _text " 0x${_byte},")
  endforeach()
  set(${out} "${_text}" PARENT_SCOPE)
endfunction()
_mc_entries("${_modulus}" MC_MODULUS_ENTRIES)
_mc_entries("${_exponent}" MC_EXPONENT_ENTRIES)
set(MC_PUBLIC_KEY_SOURCE "${PEM}")
configure_file(${TEMPLATE} ${OUTPUT} @ONLY)

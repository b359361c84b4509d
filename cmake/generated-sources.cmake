# Sources the build makes: the built-in public key, from the PEM public key
# named by MC_PUBLIC_KEY_PEM, regenerated whenever that file changes.
find_program(MC_OPENSSL_PROGRAM openssl REQUIRED)
set(_mc_tables ${CMAKE_CURRENT_BINARY_DIR}/generated/public_key_tables.cc)
add_custom_command(OUTPUT ${_mc_tables}
  COMMAND ${CMAKE_COMMAND} -DOPENSSL=${MC_OPENSSL_PROGRAM} -DPEM=${MC_PUBLIC_KEY_PEM}
          -DTEMPLATE=${CMAKE_CURRENT_SOURCE_DIR}/binfile/public_key_tables.cc.in -DOUTPUT=${_mc_tables}
          -P ${CMAKE_CURRENT_SOURCE_DIR}/cmake/public-key-tables.cmake
  DEPENDS ${MC_PUBLIC_KEY_PEM} ${CMAKE_CURRENT_SOURCE_DIR}/binfile/public_key_tables.cc.in
          ${CMAKE_CURRENT_SOURCE_DIR}/cmake/public-key-tables.cmake
  COMMENT "Built-in public key from ${MC_PUBLIC_KEY_PEM}"
  VERBATIM)
target_sources(mc_objects PRIVATE ${_mc_tables})

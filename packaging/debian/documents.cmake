# What Debian wants of every package in /usr/share/doc: its licences, and what has changed.
find_program(MTLLIB_GZIP gzip REQUIRED)
mark_as_advanced(MTLLIB_GZIP)
set(generated ${CMAKE_CURRENT_BINARY_DIR}/debian)
set(MTLLIB_MAINTAINER "The mtllib authors <packages@mtllib.example>" CACHE STRING
  "Who answers for Debian's packages")

file(READ ${PROJECT_SOURCE_DIR}/LICENSE licences)
file(READ ${MTLLIB_RAPIDJSON_LICENCE} rapidjson)
string(APPEND licences "\nThe engine carries code of RapidJSON:\n\n${rapidjson}")
file(READ ${MTLLIB_LLHTTP_LICENCE} llhttp)
file(WRITE ${generated}/copyright
  "${licences}\nThe networking library carries code of llhttp:\n\n${llhttp}")
file(READ ${MTLLIB_CLI11_LICENCE} cli11)
file(READ ${MTLLIB_TOMLPLUSPLUS_LICENCE} tomlplusplus)
string(APPEND cli11 "\nand mtlpublish of toml++:\n\n${tomlplusplus}")
file(WRITE ${generated}/copyright-tools "${licences}\nThe programs carry code of CLI11:\n\n${cli11}")

string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(debian/changelog.in ${generated}/changelog @ONLY)
execute_process(COMMAND ${MTLLIB_GZIP} -9nf ${generated}/changelog COMMAND_ERROR_IS_FATAL ANY)

# debian_documents(component package copyright)
function(debian_documents component package copyright)
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES ${generated}/${copyright} DESTINATION ${folder} RENAME copyright
    COMPONENT ${component})
  install(FILES ${generated}/changelog.gz DESTINATION ${folder} COMPONENT ${component})
endfunction()
debian_documents(runtime mtllib copyright)
debian_documents(development mtllib-dev copyright)
debian_documents(tools mtllib-tools copyright-tools)

install(FILES debian/lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
  RENAME mtllib COMPONENT runtime)

# Manual pages are kept compressed.
install(CODE "
  file(GLOB pages \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man*/*\")
  if(pages)
    execute_process(COMMAND ${MTLLIB_GZIP} -9nf \${pages} COMMAND_ERROR_IS_FATAL ANY)
  endif()" COMPONENT tools)

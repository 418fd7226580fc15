# Copies the emulator's build (FROM) beside the program (TO) when it has been
# installed; without it the program still builds and its game pages say so.
if(EXISTS "${FROM}/ruffle.js")
  file(GLOB _files "${FROM}/*.js" "${FROM}/*.wasm")
  file(MAKE_DIRECTORY "${TO}")
  file(COPY ${_files} DESTINATION "${TO}")
endif()

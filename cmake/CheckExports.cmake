# Fails when the stripped shared object exports anything but the library's own
# API, or leaves out a symbol a client needs: the identity constant, the C
# entry points, and the virtual table of every public polymorphic class (a
# client that derives one, or constructs one, at -O0 links against it).
#   cmake -DLIBRARY=<liborvel.so> -DNM=<nm> -DSTRIP=<strip> -DWORK=<dir> -P CheckExports.cmake
set(stripped ${WORK}/liborvel-stripped.so)
execute_process(COMMAND ${STRIP} --strip-all -o ${stripped} ${LIBRARY} RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "strip failed on ${LIBRARY}")
endif()
execute_process(COMMAND ${NM} -D --defined-only -C ${stripped}
  OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${stripped}")
endif()
string(REPLACE "\n" ";" lines "${symbols}")
set(bad "")
set(count 0)
foreach(line ${lines})
  string(REGEX REPLACE "^[0-9a-fA-F]+ [A-Za-z] " "" name "${line}")
  if(name STREQUAL "" OR name MATCHES "^(orvel::|vtable for orvel::|guard variable for orvel::|ov_abort_handler$|expr_)")
    math(EXPR count "${count} + 1")
  elseif(NOT name MATCHES "^ORVEL_")
    list(APPEND bad "${name}")
  endif()
endforeach()
if(bad)
  string(REPLACE ";" "\n  " bad "${bad}")
  message(FATAL_ERROR "unexpected exported symbols:\n  ${bad}")
endif()

# One virtual table per public polymorphic class.
set(polymorphic
  OvAlignedBuffer OvExternalAlignedBuffer
  OvBitmapStorage OvHeapBitmapStorage
  OvCanvasStateStorage "OvCanvasStateStorageFixed<1>" OvCanvas Ov2WayCanvas OvRecordingCanvas
  PathInterface OvPathProxy
  OvPropertyClient
  OvFontBackend
  OvShaderStorageBase priv::OvShaderBase priv::OvLinearGradientShader priv::OvRadialGradientShader
  "GlyphCacheInterface<orvel::FontCacheKey<unsigned int> >"
  "FIFOCache<orvel::FontCacheKey<unsigned int>, 128u, 21000u>" GlyphCache GlyphFetcher)
set(required "orvel::OvMatrix::isIdentity() const::I" "ov_abort_handler" "orvel::SetLogSink(" "expr_parse")
foreach(class ${polymorphic})
  list(APPEND required "vtable for orvel::${class}\n")
endforeach()
set(missing "")
foreach(symbol ${required})
  string(FIND "${symbols}" "${symbol}" at)
  if(at EQUAL -1)
    string(STRIP "${symbol}" symbol)
    list(APPEND missing "${symbol}")
  endif()
endforeach()
if(missing)
  string(REPLACE ";" "\n  " missing "${missing}")
  message(FATAL_ERROR "required symbols not exported:\n  ${missing}")
endif()
message(STATUS "${count} exported symbols, all orvel's own, with every required one")

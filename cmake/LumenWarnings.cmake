# Warnings and string hygiene for our own targets only (never for Qt's headers).
function(lumen_target_defaults target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                           -Wold-style-cast -Wcast-align -Woverloaded-virtual)
  if(LUMEN_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # Texts are u"..."_s or QStringLiteral, so a non-ASCII text is never mis-decoded.
  target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
                                               QT_NO_KEYWORDS QT_NO_FOREACH)
endfunction()
option(LUMEN_WERROR "Treat warnings as errors" ON)

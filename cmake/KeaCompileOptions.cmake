# Compile settings shared by every Kea target. Call kea_target_defaults(target)
# on each library, executable and test.

add_library(kea_options INTERFACE)
target_compile_definitions(kea_options INTERFACE
  QT_NO_CAST_FROM_ASCII
  QT_NO_CAST_TO_ASCII
  QT_NO_CAST_FROM_BYTEARRAY
  QT_NO_URL_CAST_FROM_STRING
  QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
  QT_NO_FOREACH
  QT_USE_QSTRINGBUILDER
  QT_STRICT_ITERATORS
  KEA_VERSION_STRING="${PROJECT_VERSION}"
  KEA_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
)
target_compile_options(kea_options INTERFACE -Wall -Wextra -Wno-missing-field-initializers)
if(KEA_WERROR)
  target_compile_options(kea_options INTERFACE -Werror)
endif()
if(KEA_FUZZ)
  # Instrument every library for coverage so the fuzzers see inside them.
  target_compile_options(kea_options INTERFACE -fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer)
  target_link_options(kea_options INTERFACE -fsanitize=address,undefined)
endif()
if(KEA_SANITIZE)
  target_compile_options(kea_options INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  target_link_options(kea_options INTERFACE -fsanitize=address,undefined)
endif()

# Headers that almost every translation unit includes; precompiling them
# keeps the two-core CI build short.
set(KEA_PCH_HEADERS
  <QtCore/QByteArray> <QtCore/QString> <QtCore/QStringList> <QtCore/QList>
  <QtCore/QHash> <QtCore/QMap> <QtCore/QVariant> <QtCore/QObject>
  <QtCore/QDateTime> <QtCore/QDebug> <QtCore/QLoggingCategory>
  <memory> <optional> <functional> <vector> <string> <variant>)

function(kea_target_defaults target)
  target_link_libraries(${target} PRIVATE kea_options)
endfunction()

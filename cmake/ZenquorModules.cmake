# The modules, lowest floor first. Each is an object library for libzenquor and, for the tests of its floor, a static
# library that links just the modules below it, so that a breach of the floors fails to link as well as the layer test.
#
#   zenquor_module(NAME [MODULES lower modules...] [LIBRARIES outside libraries...])
set(ZENQUOR_MODULES "")
function(zenquor_module name)
  cmake_parse_arguments(arg "" "" "MODULES;LIBRARIES" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/zenquor/${name}/*.cpp)
  if(NOT sources)
    message(FATAL_ERROR "module ${name} has no sources")
  endif()
  add_library(zenquor_${name}_objects OBJECT ${sources})
  target_include_directories(zenquor_${name}_objects PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_link_libraries(zenquor_${name}_objects PUBLIC $<BUILD_INTERFACE:zenquor_flags> fmt::fmt Threads::Threads ${arg_LIBRARIES})
  add_library(zenquor_${name} STATIC $<TARGET_OBJECTS:zenquor_${name}_objects>)
  target_include_directories(zenquor_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  list(TRANSFORM arg_MODULES PREPEND zenquor_)
  target_link_libraries(zenquor_${name} PUBLIC zenquor_flags ${arg_MODULES} fmt::fmt Threads::Threads ${arg_LIBRARIES})
  set(ZENQUOR_MODULES ${ZENQUOR_MODULES} ${name} PARENT_SCOPE)
endfunction()

zenquor_module(core LIBRARIES spdlog::spdlog PkgConfig::UUID)
zenquor_module(platform MODULES core LIBRARIES PkgConfig::LIBAV)
zenquor_module(host MODULES platform core)
zenquor_module(vanc MODULES platform core)
zenquor_module(audio MODULES platform core)
zenquor_module(mxf MODULES core)
zenquor_module(media MODULES host vanc audio platform core)
zenquor_module(sidecar MODULES host vanc mxf core)
zenquor_module(sources MODULES media host vanc audio platform core)
zenquor_module(encoders MODULES media host vanc audio platform core)
zenquor_module(writers MODULES media host vanc audio mxf platform core)

target_compile_definitions(zenquor_platform_objects PRIVATE ZENQUOR_HARDWARE_ENCODERS=$<BOOL:${ZENQUOR_HARDWARE_ENCODERS}>)

add_library(zenquor)
add_library(zenquor::zenquor ALIAS zenquor)
foreach(module ${ZENQUOR_MODULES})
  target_sources(zenquor PRIVATE $<TARGET_OBJECTS:zenquor_${module}_objects>)
endforeach()
target_include_directories(zenquor PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:include>)
target_compile_features(zenquor PUBLIC cxx_std_20)
target_link_libraries(zenquor PUBLIC fmt::fmt Threads::Threads
  PRIVATE $<BUILD_INTERFACE:zenquor_flags> spdlog::spdlog PkgConfig::UUID PkgConfig::LIBAV)
# The binary interface may change with every 0.x; from 1.0 on only the major number names it.
set_target_properties(zenquor PROPERTIES VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

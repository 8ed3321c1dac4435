# The library is assembled from one object library per subsystem, so that a
# test suite builds only the subsystems it exercises.
set(KQ_COMPONENTS "" CACHE INTERNAL "")
if(APPLE)
  set(KQ_PLATFORM_DIRECTORY Darwin)
else()
  set(KQ_PLATFORM_DIRECTORY Linux)
endif()

# kq_add_component(NAME DIRECTORY [DEPENDS component...] [LIBRARIES lib...])
function(kq_add_component name)
  cmake_parse_arguments(ARG "" "DIRECTORY" "DEPENDS;LIBRARIES;SOURCES" ${ARGN})
  set(sources ${ARG_SOURCES})
  if(ARG_DIRECTORY)
    file(GLOB_RECURSE globbed CONFIGURE_DEPENDS
      "${ARG_DIRECTORY}/*.cpp" "${ARG_DIRECTORY}/*.c")
    # Platform backends live in Linux/ and Darwin/ below a component; only
    # the running platform's half is compiled.
    list(FILTER globbed EXCLUDE REGEX "/(Linux|Darwin)/")
    list(APPEND sources ${globbed})
    if(IS_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}/${ARG_DIRECTORY}/${KQ_PLATFORM_DIRECTORY}")
      file(GLOB_RECURSE backend CONFIGURE_DEPENDS
        "${CMAKE_CURRENT_SOURCE_DIR}/${ARG_DIRECTORY}/${KQ_PLATFORM_DIRECTORY}/*.cpp"
        "${CMAKE_CURRENT_SOURCE_DIR}/${ARG_DIRECTORY}/${KQ_PLATFORM_DIRECTORY}/*.c")
      list(APPEND sources ${backend})
    endif()
  endif()
  if(NOT sources)
    # A subsystem that has no sources yet still gets a target.
    set(placeholder "${CMAKE_CURRENT_BINARY_DIR}/${name}Placeholder.cpp")
    file(WRITE "${placeholder}" "// ${name} has no sources yet.\n")
    list(APPEND sources "${placeholder}")
  endif()
  set(target KQFoundation${name})
  add_library(${target} OBJECT ${sources})
  # A shared build exports only what the public headers mark KQ_EXPORT.
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden C_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/Sources)
  foreach(dep IN LISTS ARG_DEPENDS)
    target_link_libraries(${target} PUBLIC KQFoundation${dep})
  endforeach()
  target_link_libraries(${target} PUBLIC ${ARG_LIBRARIES})
  set(KQ_COMPONENTS ${KQ_COMPONENTS} ${name} CACHE INTERNAL "")
  set_property(GLOBAL PROPERTY KQ_COMPONENT_DEPENDS_${name} ${ARG_DEPENDS})
  set_property(GLOBAL APPEND PROPERTY KQ_COMPONENT_LIBRARIES ${ARG_LIBRARIES})
endfunction()

# Collects a component and everything it depends on, dependencies last.
function(kq_component_closure out)
  set(result "")
  set(pending ${ARGN})
  while(pending)
    list(POP_FRONT pending item)
    if(NOT item IN_LIST result)
      list(APPEND result ${item})
      get_property(deps GLOBAL PROPERTY KQ_COMPONENT_DEPENDS_${item})
      list(APPEND pending ${deps})
    endif()
  endwhile()
  set(${out} ${result} PARENT_SCOPE)
endfunction()

# Links the object files of the given components (and their dependencies)
# into an executable.
function(kq_link_components target)
  kq_component_closure(all ${ARGN})
  foreach(c IN LISTS all)
    target_link_libraries(${target} PRIVATE KQFoundation${c})
  endforeach()
endfunction()

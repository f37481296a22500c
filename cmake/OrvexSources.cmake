# Collects a folder's sources: every .cpp/.h/.ui, minus the implementations
# written for another operating system (*_linux.cpp / *_win.cpp).
function(orvex_collect_sources out dir)
  file(GLOB found CONFIGURE_DEPENDS
    ${dir}/*.cpp ${dir}/*.h ${dir}/*.ui)
  set(kept)
  foreach(f IN LISTS found)
    get_filename_component(name ${f} NAME_WE)
    if(name MATCHES "_(linux|win)$")
      if(NOT name MATCHES "_${ORVEX_OS_SUFFIX}$")
        continue()
      endif()
    endif()
    list(APPEND kept ${f})
  endforeach()
  set(${out} ${kept} PARENT_SCOPE)
endfunction()

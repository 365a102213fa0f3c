# Removes the run-time search path from what was installed below debian/tmp.
file(GLOB files debian/tmp/usr/bin/* debian/tmp/usr/lib/*/*.so.*.*)
foreach(file IN LISTS files)
    file(RPATH_REMOVE FILE ${file})
endforeach()

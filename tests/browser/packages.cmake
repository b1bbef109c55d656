# Installs what package-lock.json of SOURCE pins into WORK, once: cmake -DSOURCE=... -DWORK=... -P packages.cmake
file(SHA256 ${SOURCE}/package-lock.json wanted)
set(stamp ${WORK}/installed)
if(EXISTS ${stamp})
  file(READ ${stamp} present)
  if(present STREQUAL wanted)
    return()
  endif()
endif()
file(MAKE_DIRECTORY ${WORK})
file(COPY ${SOURCE}/package.json ${SOURCE}/package-lock.json DESTINATION ${WORK})
execute_process(COMMAND npm ci --ignore-scripts --no-audit --no-fund --silent WORKING_DIRECTORY ${WORK}
                COMMAND_ERROR_IS_FATAL ANY)
file(WRITE ${stamp} ${wanted})

# Maven repositories hold the sources of a library in a jar of their own.
optdoe-java: codeless-jar *-sources.jar*

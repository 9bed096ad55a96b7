package com.morvantix.plugin.doe.optimallatinhypercube.cli;

import java.io.IOException;
import java.nio.channels.Channels;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.nio.file.StandardOpenOption;

/** A file that appears, or takes the place of an older one, only when its design is complete. */
final class DesignFile {
    private final Path target;

    /**
     * Checks the place; writes nothing yet.
     *
     * @throws IOException if nothing can be written there, or something else than a regular file would be replaced
     */
    DesignFile(Path path) throws IOException {
        // The file behind a link is replaced, not the link.
        target = Files.exists(path) ? path.toRealPath() : path.toAbsolutePath();
        if (Files.exists(target) && !Files.isRegularFile(target))
            throw new IOException(path + " is not a regular file");
        if (target.getParent() == null || !Files.isDirectory(target.getParent()))
            throw new IOException("the directory of " + path + " does not exist");
        if (!Files.isWritable(target.getParent()))
            throw new IOException("the directory of " + path + " is not writable");
    }

    /** Writes under a temporary name in the same directory, where renaming is one step, and renames. */
    void write(Design design) throws IOException {
        String name = "." + target.getFileName() + "." + ProcessHandle.current().pid() + ".tmp";
        Path temporary = target.resolveSibling(name);
        // CREATE_NEW: what already has this name, a link to elsewhere for one, is not ours to write to or to delete.
        FileChannel channel = FileChannel.open(temporary, StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE);
        try {
            try (channel) {
                design.writeCsv(Channels.newOutputStream(channel));
                channel.force(true);
            }
            Files.move(temporary, target, StandardCopyOption.ATOMIC_MOVE);
        } finally {
            Files.deleteIfExists(temporary);
        }
    }
}

#include "agent/ArchiveLibrary.h"

#include "agent/LateLibrary.h"

ArchiveLibrary::ArchiveLibrary() {
    const LateLibrary library("libarchive.so.13", "libarchive13");
    library.find("archive_error_string", errorString);
    library.find("archive_read_new", readNew);
    library.find("archive_read_free", readFree);
    library.find("archive_read_support_format_tar", readSupportFormatTar);
    library.find("archive_read_support_filter_xz", readSupportFilterXz);
    library.find("archive_read_open_filename", readOpenFilename);
    library.find("archive_read_next_header", readNextHeader);
    library.find("archive_read_data_block", readDataBlock);
    library.find("archive_write_disk_new", writeDiskNew);
    library.find("archive_write_disk_set_options", writeDiskSetOptions);
    library.find("archive_write_header", writeHeader);
    library.find("archive_write_data_block", writeDataBlock);
    library.find("archive_write_finish_entry", writeFinishEntry);
    library.find("archive_write_close", writeClose);
    library.find("archive_write_free", writeFree);
    library.find("archive_entry_pathname", entryPathname);
    library.find("archive_entry_copy_pathname", entryCopyPathname);
    library.find("archive_entry_hardlink", entryHardlink);
    library.find("archive_entry_symlink", entrySymlink);
    library.find("archive_entry_filetype", entryFiletype);
    library.find("archive_entry_size", entrySize);
    library.find("archive_entry_set_perm", entrySetPerm);
}

const ArchiveLibrary& ArchiveLibrary::get() {
    static const ArchiveLibrary library;
    return library;
}

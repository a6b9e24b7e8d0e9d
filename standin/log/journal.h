// The journal of systemd as the reader of a descriptor: it stamps and names each line by itself,
// and takes the priority from the beginning of the line.
#pragma once

namespace standin {

// Whether the journal reads what is written to `descriptor`: the environment variable
// JOURNAL_STREAM then has the descriptor's device and inode, as "DEVICE:INODE".
bool is_journal(int descriptor);

}  // namespace standin

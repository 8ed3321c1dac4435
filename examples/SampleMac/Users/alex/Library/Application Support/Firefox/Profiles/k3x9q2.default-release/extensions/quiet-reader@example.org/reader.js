// reader

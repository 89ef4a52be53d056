Document: libkmhash-c
Title: kmhash: reference of the C interface
Author: the kmhash authors
Abstract: Identity hashes of media files: the functions, structures and result codes of kmhash.h.
Section: Programming/C

Format: HTML
Index: /usr/share/doc/libkmhash-doc/html/c/index.html
Files: /usr/share/doc/libkmhash-doc/html/c/*

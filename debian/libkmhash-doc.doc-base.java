Document: libkmhash-java
Title: kmhash: reference of the Java interface
Author: the kmhash authors
Abstract: Identity hashes of media files: the classes of the package com.kelo.kmhash.
Section: Programming/Java

Format: HTML
Index: /usr/share/doc/libkmhash-doc/html/java/index.html
Files: /usr/share/doc/libkmhash-doc/html/java/*

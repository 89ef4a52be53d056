/**
 * Identity hashes of media files on a cluster of Apache Spark.
 *
 * <ul>
 *   <li>{@link com.kelo.kmhash.spark.KmHashJob} hashes the files of a store into a table.
 *   <li>{@link com.kelo.kmhash.spark.KmHashDuplicates} finds the files in such a table that hold the same media.
 *   <li>{@link com.kelo.kmhash.spark.KmHashExtensions} adds the function {@code kmhash} to SQL.
 * </ul>
 */
package com.kelo.kmhash.spark;

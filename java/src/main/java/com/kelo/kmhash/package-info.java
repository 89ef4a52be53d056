/**
 * Identity hashes of media files: names for photos, videos and songs that survive editing of their metadata.
 *
 * <ul>
 *   <li>{@link com.kelo.kmhash.HashText} is what most programs need: it hashes a file, a channel or a stream, takes the
 *       hash apart and compares.
 *   <li>{@link com.kelo.kmhash.KeloMediaHashGenerator} has native methods, from streams and texts to texts and numbers.
 *       It and the exception work without the other classes, with the native library alone.
 *   <li>{@link com.kelo.kmhash.KeloMediaHashException} is thrown by whatever fails, with a code that tells how.
 * </ul>
 *
 * <p>A hash identifies media among files that nobody forged. Long payloads are sampled unless {@link
 * com.kelo.kmhash.HashText.Option#WHOLE} is given, so it does not prove that every byte of a file is intact.
 */
package com.kelo.kmhash;

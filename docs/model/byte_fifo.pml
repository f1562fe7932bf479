/* The byte fifo's two offsets: one writer, one reader, a ring of DATA bytes of which one always stays free.
 *
 * Claims: the reader gets every committed byte once and in order. The writer never touches a byte that was not read
 * yet. The reader never takes a byte that is not committed. Bytes are numbered, so that their order is visible.
 *
 * Variants that must fail: -DINDEX_FIRST stores an offset before the bytes are copied, as if the barrier between the
 * two were missing; -DFULL_RING lets the writer use the free byte, too.
 */
#ifndef DATA
#define DATA 4
#endif
#define LARGEST 3 /* bytes of the largest message and of the largest read */
#define NUMBERS 8 /* bytes are numbered 0 .. NUMBERS-1, over and over */

byte ring[DATA];
bool committed[DATA]; /* ghost: holds a byte that the reader has not taken */
byte writeOffset = 0;
byte readOffset = 0;

inline used(read, write, result) { result = (write + DATA - read) % DATA }

active proctype Writer() {
    byte next = 0; /* number of the next byte */
    byte read, write, count, space, n;
    do
    :: select(n : 1 .. LARGEST);
       read = readOffset;
       write = writeOffset;
       d_step {
           used(read, write, space);
#ifdef FULL_RING
           space = DATA + 1 - space;
#else
           space = DATA - space;
#endif
       }
       if
       :: space <= n -> skip /* refused as a whole, nothing changed */
       :: else ->
#ifdef INDEX_FIRST
          writeOffset = (write + n) % DATA;
#endif
          count = 0;
          do
          :: count < n ->
             atomic {
                 assert(!committed[(write + count) % DATA]);
                 ring[(write + count) % DATA] = next;
                 committed[(write + count) % DATA] = true;
                 next = (next + 1) % NUMBERS;
                 count++
             }
          :: else -> break
          od;
#ifndef INDEX_FIRST
          writeOffset = (write + n) % DATA
#endif
       fi
    od
}

active proctype Reader() {
    byte expected = 0;
    byte read, write, count, available, n;
    do
    :: select(n : 1 .. LARGEST);
       read = readOffset;
       write = writeOffset;
       d_step {
           used(read, write, available);
           if
           :: available < n -> n = available
           :: else -> skip
           fi
       }
       count = 0;
       do
       :: count < n ->
          atomic {
              assert(committed[(read + count) % DATA]);
              assert(ring[(read + count) % DATA] == expected);
              committed[(read + count) % DATA] = false;
              expected = (expected + 1) % NUMBERS;
              count++
          }
       :: else -> break
       od;
       readOffset = (read + n) % DATA
    od
}

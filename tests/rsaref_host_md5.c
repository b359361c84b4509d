/* An MD5Init of another library, with another record layout: a host that
   links such a library next to libmc must not capture the library's calls. */
int host_md5_init_calls = 0;

void MD5Init(void *context);

void MD5Init(void *context) {
  ++host_md5_init_calls;
  if (context != 0) *(unsigned char *)context ^= 0xff;
}

// The level of the x86-64 instruction set that the libraries are compiled for. A constant of its own
// source: the one that reads it is compiled for every processor and sees other macros.
extern const int xeProcessorLevel;

#if defined(__AVX512F__) && defined(__AVX512BW__) && defined(__AVX512VL__)
const int xeProcessorLevel = 4;
#elif defined(__AVX2__) && defined(__BMI2__) && defined(__FMA__)
const int xeProcessorLevel = 3;
#elif defined(__SSE4_2__)
const int xeProcessorLevel = 2;
#else
const int xeProcessorLevel = 1;
#endif

"""The brushes with which resources/make-samples paints the sample pictures."""
